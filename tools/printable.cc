// Characters, by what a terminal does with them.

#include "printable.h"

#include <utf8proc.h>

#include <algorithm>
#include <iterator>

namespace tool {
namespace {

struct CCharacter {
  utf8proc_int32_t code;  // negative for a byte that is no UTF-8
  std::size_t size;
};

CCharacter Next(std::string_view text) {
  utf8proc_int32_t code = -1;
  const utf8proc_ssize_t size =
      utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                       static_cast<utf8proc_ssize_t>(text.size()), &code);
  if (size <= 0) return {-1, 1};
  return {code, static_cast<std::size_t>(size)};
}

// Changes the direction of what follows, or ends the line.
bool IsDirection(utf8proc_int32_t code) {
  constexpr utf8proc_int32_t kSingle[] = {0x061c, 0x200e, 0x200f, 0x2028,
                                          0x2029};
  return std::find(std::begin(kSingle), std::end(kSingle), code) !=
             std::end(kSingle) ||
         (code >= 0x202a && code <= 0x202e) ||
         (code >= 0x2066 && code <= 0x2069);
}

bool IsSafe(utf8proc_int32_t code) {
  const bool isControl = code < 0x20 || (code >= 0x7f && code <= 0x9f);
  return !isControl && !IsDirection(code);
}

void AppendEscape(char c, std::string& text) {
  constexpr char kDigits[] = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(c);
  switch (c) {
    case '\n':
      text += "\\n";
      break;
    case '\r':
      text += "\\r";
      break;
    case '\t':
      text += "\\t";
      break;
    default:
      text += {'\\', 'x', kDigits[byte / 16], kDigits[byte % 16]};
  }
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string safe;
  while (!text.empty()) {
    const auto [code, size] = Next(text);
    const std::string_view character = text.substr(0, size);
    if (IsSafe(code)) {
      safe += character;
    } else {
      for (const char c : character) AppendEscape(c, safe);
    }
    text.remove_prefix(size);
  }
  return safe;
}

std::size_t WidthOf(std::string_view text) {
  int width = 0;
  while (!text.empty()) {
    const auto [code, size] = Next(text);
    width += code < 0 ? 1 : utf8proc_charwidth(code);
    text.remove_prefix(size);
  }
  return static_cast<std::size_t>(width);
}

}  // namespace tool
