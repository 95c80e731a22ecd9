// Record ids: numbers of 32 bits that begin the names of entries.

#ifndef CORE_RECORD_ID_H_
#define CORE_RECORD_ID_H_

namespace KivDB {

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

#endif  // CORE_RECORD_ID_H_
