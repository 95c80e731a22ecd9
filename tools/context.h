// What every command is given.

#ifndef TOOLS_CONTEXT_H_
#define TOOLS_CONTEXT_H_

#include <string>

#include "output.h"
#include "report.h"

namespace tool {

// The options that every command knows.
struct CGlobals {
  std::string root = ".";
  std::string format = "table";
  bool isQuiet = false;
  bool isVerbose = false;
  bool endsWithNul = false;    // -0: ids
  bool hidesProgress = false;  // on a terminal
  double wait = 15;            // seconds
};

struct CContext {
  const CGlobals& globals;
  COutput& out;
  CReport& report;
};

}  // namespace tool

#endif  // TOOLS_CONTEXT_H_
