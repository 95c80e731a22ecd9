// The command line: what there is to run, and with what.

#ifndef TOOLS_COMMAND_LINE_H_
#define TOOLS_COMMAND_LINE_H_

#include <functional>

#include "context.h"

namespace tool {

// What the arguments ask for.
struct CRun {
  CGlobals globals;
  std::function<void(const CContext& context)> command;
};

// Ends with kTrouble for wrong usage.  Asked for help or the version, the
// command is to print that.
CRun ParseCommandLine(int argc, char** argv);

}  // namespace tool

#endif  // TOOLS_COMMAND_LINE_H_
