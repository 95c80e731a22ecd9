// What a command reads besides the database.

#ifndef TOOLS_INPUT_H_
#define TOOLS_INPUT_H_

#include <string>

namespace tool {

// The whole content of a file or FIFO, or of standard input for an empty name
// or "-".  Ends the command with kTrouble when it cannot be read.
std::string ReadInput(const std::string& file);

// The file as messages name it.
std::string InputName(const std::string& file);

}  // namespace tool

#endif  // TOOLS_INPUT_H_
