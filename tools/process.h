// Running other programs.

#ifndef TOOLS_PROCESS_H_
#define TOOLS_PROCESS_H_

#include <csignal>
#include <string>
#include <vector>

namespace tool {

struct CProgram {
  CProgram() {
    sigemptyset(&held);
    sigemptyset(&defaults);
  }

  std::vector<std::string> words;      // the first is looked for in PATH
  std::vector<std::string> variables;  // NAME=VALUE, above the environment
  bool hasInput = true;                // else the null device
  sigset_t held;                       // signals that are blocked in it
  sigset_t defaults;                   // signals that are not ignored in it
};

// Runs it to its end, with the status as waitpid gives it.  Gives the error
// number for which it cannot be started, or 0.
int RunProgram(const CProgram& program, int& status);

}  // namespace tool

#endif  // TOOLS_PROCESS_H_
