// Escaping, for what builds longer texts.

#ifndef HOST_APPEND_ESCAPED_H_
#define HOST_APPEND_ESCAPED_H_

#include <string>
#include <string_view>

namespace KivDB {

// Appends what Escape gives.  Throws std::bad_alloc.
void AppendEscaped(std::string_view value, std::string& text);

}  // namespace KivDB

#endif  // HOST_APPEND_ESCAPED_H_
