// The content of a record file, as it is written.

#ifndef TABLE_CONTENT_H_
#define TABLE_CONTENT_H_

#include <cstring>

#include "core/text_buffer.h"

namespace KivDB {

// Appends a value and its separator; false when there is no memory.
inline bool AppendValue(const char* value, CTextBuffer& content) {
  return content.Append(value) && content.Append("|", 1);
}

// A line feed would end the record's one line in the middle of a value.
inline bool IsOneLine(const CTextBuffer& content) {
  return std::memchr(content.data(), '\n', content.size()) == nullptr;
}

}  // namespace KivDB

#endif  // TABLE_CONTENT_H_
