// Small helpers on NUL-terminated texts.

#ifndef CORE_TEXT_H_
#define CORE_TEXT_H_

#include <kivdb/column.h>

#include <cstddef>

namespace KivDB {

// A stored value, unescaped, and a field of a record text, both with their NUL.
constexpr std::size_t kValueSize = 2048;

inline const char* TextOrEmpty(const char* text) {
  return text != nullptr ? text : "";
}

// The column's value; a column without one reads as the empty text.
inline const char* ValueOf(const CColumn& column) {
  return TextOrEmpty(column.data());
}

// Whether the text names an entry of a directory and cannot lead out of it.
bool IsPathComponent(const char* name);

// The decimal number at the start of the text, 0 when there is none, as an
// unsigned 32-bit record id: parsed as atol does, with blanks and a sign.
unsigned int ParseLeadingId(const char* text);

// The same; names of records, which are short numbers, need no parser.
inline unsigned int LeadingId(const char* text) {
  constexpr int kSafeDigits = 9;  // a number of so many fits in 32 bits
  unsigned int id = 0;
  int digits = 0;
  for (; digits < kSafeDigits; ++digits) {
    const unsigned int digit = static_cast<unsigned char>(text[digits]) - '0';
    if (digit > 9) break;
    id = id * 10 + digit;
  }
  const bool isWhole = digits > 0 && text[digits] == '\0';
  return isWhole ? id : ParseLeadingId(text);
}

}  // namespace KivDB

#endif  // CORE_TEXT_H_
