// Texts for people: nothing in them can command a terminal.

#ifndef TOOLS_PRINTABLE_H_
#define TOOLS_PRINTABLE_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace tool {

// The text with escapes for control, C1 and direction characters, line
// separators and what is no UTF-8: "\n", "\r", "\t" or "\xHH" for each byte.
std::string Printable(std::string_view text);

// The cells of a terminal that a printable text takes.
std::size_t WidthOf(std::string_view text);

}  // namespace tool

#endif  // TOOLS_PRINTABLE_H_
