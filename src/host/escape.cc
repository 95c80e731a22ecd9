// Escaping, and its reverse by the platform's own operation.

#include <kivdb/escape.h>

#include <cstring>

#include "core/no_throw.h"
#include "host/append_escaped.h"
#include "zel.h"

namespace KivDB {
namespace {

// What follows the backslash, or 0 for a byte without such a form.
char ShortForm(char c) {
  switch (c) {
    case '\\':
      return '\\';
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    default:
      return '\0';
  }
}

bool IsControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < ' ' || byte == 0x7f;
}

void AppendByte(char c, bool isAtEnd, std::string& text) {
  constexpr char kDigits[] = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(c);
  if (const char form = ShortForm(c); form != '\0') {
    text += {'\\', form};
  } else if (IsControl(c) || c == '|' || c == ',' || (c == ' ' && isAtEnd)) {
    text += {'\\', 'x', kDigits[byte / 16], kDigits[byte % 16]};
  } else {
    text += c;
  }
}

// Undoes the escapes of a text without a byte 0.
void AppendUnescaped(const char* text, std::size_t length, std::string& value) {
  std::string piece(length + 1, '\0');
  StringUnescapeA(text, piece.data(), piece.size());
  value += std::string_view(piece.data());
}

}  // namespace

void AppendEscaped(std::string_view value, std::string& text) {
  // Of the blanks, only spaces are no control characters.
  const std::size_t first = value.find_first_not_of(' ');
  const std::size_t last = value.find_last_not_of(' ');
  for (std::size_t i = 0; i < value.size(); ++i) {
    AppendByte(value[i], i < first || i > last, text);
  }
}

std::string Escape(std::string_view value) {
  return NoThrow<std::string>(
      [&] {
        std::string text;
        AppendEscaped(value, text);
        return text;
      },
      [] {
        NoMemory();
        return std::string("?\n?");
      });
}

std::string Unescape(std::string_view text) {
  return NoThrow<std::string>(
      [&] {
        const std::string copy(text);
        std::string value;
        for (std::size_t at = 0;; value += '\0') {
          const char* piece = copy.c_str() + at;
          const std::size_t length = std::strlen(piece);
          AppendUnescaped(piece, length, value);
          at += length + 1;
          if (at > copy.size()) return value;
        }
      },
      [] {
        NoMemory();
        return std::string();
      });
}

}  // namespace KivDB
