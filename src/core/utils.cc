// Blanks, as the platform classes them.

#include <kivdb/utils.h>

#include <cstring>

#include "zel.h"

namespace KivDB {
namespace {

bool IsBlank(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x80 && (zelascii_ctype_table[byte] & kZelWhiteSpace) != 0;
}

}  // namespace

void CUtils::trim(char* s) {
  if (s == nullptr) return;
  const char* first = s;
  while (IsBlank(*first)) ++first;
  std::size_t length = std::strlen(first);
  while (length > 0 && IsBlank(first[length - 1])) --length;
  std::memmove(s, first, length);
  s[length] = '\0';
}

void CUtils::strstrip(char* s) {
  if (s == nullptr) return;
  char* end = s;
  for (const char* c = s; *c != '\0'; ++c) {
    if (!IsBlank(*c)) *end++ = *c;
  }
  *end = '\0';
}

}  // namespace KivDB
