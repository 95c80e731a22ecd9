// What a command reads besides the database.

#ifndef TOOLS_INPUT_H_
#define TOOLS_INPUT_H_

#include <string>
#include <string_view>

#include "descriptor.h"

namespace tool {

// Opens a file or FIFO, or standard input for an empty name or "-".  Ends the
// command when it cannot.
CDescriptor OpenInput(const std::string& file);

// The whole content of a file or FIFO, or of standard input for an empty name
// or "-".  Ends the command with kTrouble when it cannot be read.
std::string ReadInput(const std::string& file);

// The file as messages name it.
std::string InputName(const std::string& file);

// The text behind a byte order mark, if it begins with one.
std::string_view WithoutByteOrderMark(std::string_view text);

}  // namespace tool

#endif  // TOOLS_INPUT_H_
