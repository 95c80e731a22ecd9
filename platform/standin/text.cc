// Texts: tokens, escape sequences, replacing, bounded copies, blanks.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "zel.h"

namespace {

constexpr unsigned char kBlank = kZelWhiteSpace;

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads the escape sequence that begins with the backslash at text.  Returns
// its length and sets *value; a backslash that begins none stands for itself.
size_t ReadEscape(const char* text, char* value) {
  *value = '\\';
  switch (text[1]) {
    case '\\':
      return 2;
    case 'n':
      *value = '\n';
      return 2;
    case 'r':
      *value = '\r';
      return 2;
    case 't':
      *value = '\t';
      return 2;
    case 'x':
      break;
    default:
      return 1;
  }
  const int high = HexDigit(text[2]);
  const int low = high < 0 ? -1 : HexDigit(text[3]);
  if (low < 0 || high + low == 0) return 1;
  *value = static_cast<char>(high * 16 + low);
  return 4;
}

size_t CountOf(const char* text, const char* pattern, size_t length) {
  size_t count = 0;
  while ((text = strstr(text, pattern)) != nullptr) {
    ++count;
    text += length;
  }
  return count;
}

}  // namespace

extern "C" const unsigned char zelascii_ctype_table[128] = {
    0,      0,      0,      0,      0,      0,      0, 0,  // 00
    0,      kBlank, kBlank, kBlank, kBlank, kBlank, 0, 0,  // 08
    0,      0,      0,      0,      0,      0,      0, 0,  // 10
    0,      0,      0,      0,      0,      0,      0, 0,  // 18
    kBlank,                                                // 20
};

char* StringGetNextA(char** cursor, char separator) {
  if (cursor == nullptr || *cursor == nullptr || **cursor == '\0') {
    return nullptr;
  }
  char* token = *cursor;
  char* end = strchr(token, separator);
  if (end != nullptr) *end++ = '\0';
  *cursor = end;
  return token;
}

char* StringUnescapeA(const char* input, char* output, size_t capacity) {
  if (output == nullptr || capacity == 0) return output;
  if (input == nullptr) input = "";
  char* to = output;
  char* const last = output + capacity - 1;
  while (to < last && *input != '\0') {
    const size_t room = static_cast<size_t>(last - to);
    const size_t run = std::min(strcspn(input, "\\"), room);
    memmove(to, input, run);
    to += run;
    input += run;
    if (to < last && *input == '\\') input += ReadEscape(input, to++);
  }
  *to = '\0';
  return output;
}

char* StringFindAndReplaceA(char* buffer, size_t size, const char* pattern,
                            const char* replacement) {
  if (buffer == nullptr) return nullptr;
  const size_t length = strnlen(buffer, size);
  if (length == size) return nullptr;
  if (pattern == nullptr || *pattern == '\0') return buffer;
  if (replacement == nullptr) replacement = "";

  const size_t old_length = strlen(pattern);
  const size_t new_length = strlen(replacement);
  const size_t count = CountOf(buffer, pattern, old_length);
  if (count == 0) return buffer;
  size_t shift = 0;
  if (new_length > old_length) {
    const size_t growth = new_length - old_length;
    if (count > (size - 1 - length) / growth) return nullptr;
    shift = count * growth;
  }

  // Moved up by all that it will grow, the text is never overtaken by what is
  // written below it.
  char* to = buffer;
  char* from = buffer + shift;
  memmove(from, buffer, length + 1);
  while (char* match = strstr(from, pattern)) {
    const size_t run = static_cast<size_t>(match - from);
    memmove(to, from, run);
    to = std::copy_n(replacement, new_length, to + run);
    from = match + old_length;
  }
  memmove(to, from, strlen(from) + 1);
  return buffer;
}

char* zelstrcpy(char* destination, const char* source, size_t size) {
  return zelstrncpy(destination, source, size, SIZE_MAX);
}

char* zelstrncpy(char* destination, const char* source, size_t size,
                 size_t count) {
  if (destination == nullptr || size == 0) return destination;
  size_t length = 0;
  if (source != nullptr) {
    length = strnlen(source, std::min(count, size - 1));
    memcpy(destination, source, length);
  }
  destination[length] = '\0';
  return destination;
}

long zel_strtol(const char* text, char** end, int base) {
  return strtol(text, end, base);
}
