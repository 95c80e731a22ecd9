// All commands of the tool but help.

#ifndef TOOLS_COMMAND_OPTIONS_H_
#define TOOLS_COMMAND_OPTIONS_H_

#include "command_set.h"

namespace tool {

// The one command behind whose "--" stands a program.
constexpr char kWatch[] = "watch";

void AddCommands(CCommandSet& commands);

}  // namespace tool

#endif  // TOOLS_COMMAND_OPTIONS_H_
