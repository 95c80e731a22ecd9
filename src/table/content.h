// The content of a record file, as it is written.

#ifndef TABLE_CONTENT_H_
#define TABLE_CONTENT_H_

#include <kivdb/status.h>

#include <cstring>

#include "core/format.h"
#include "core/log.h"
#include "core/text_buffer.h"

namespace KivDB {

// Appends a value and its separator.  Throws std::bad_alloc.
inline void AppendValue(const char* value, CTextBuffer& content) {
  content.Append(value);
  content.Append(&kSeparator, 1);
}

// A line feed would end the record's one line in the middle of a value.
inline bool IsOneLine(const CTextBuffer& content) {
  return std::memchr(content.data(), '\n', content.size()) == nullptr;
}

// For content that is no record of the table.
inline int RefuseContent() {
  return KIVDB_FAIL(kSyntax, "record's syntax error ");
}

}  // namespace KivDB

#endif  // TABLE_CONTENT_H_
