// The options of the commands that a batch is made of: one definition for the
// command line, its help and the lines of a batch.

#ifndef TOOLS_CHANGE_OPTIONS_H_
#define TOOLS_CHANGE_OPTIONS_H_

#include "commands.h"
#include "options.h"
#include "plan.h"

namespace tool {

// What the command line alone has is not among them: global options, dry runs.
void Define(COptions& command, CAddOptions& options);
void Define(COptions& command, CSetOptions& options);
void Define(COptions& command, CDeleteOptions& options);

// The words of a line: add, set or delete and its arguments.  Ends the command
// for wrong usage.
CChangeOptions ParseChange(const Texts& words);

}  // namespace tool

#endif  // TOOLS_CHANGE_OPTIONS_H_
