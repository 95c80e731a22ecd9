// Small helpers on NUL-terminated texts.

#include "core/text.h"

#include <cstdlib>
#include <cstring>

namespace KivDB {
namespace {

// A number of so many digits fits in 32 bits.
constexpr int kSafeDigits = 9;

}  // namespace

bool IsPathComponent(const char* name) {
  return *name != '\0' && std::strcmp(name, ".") != 0 &&
         std::strcmp(name, "..") != 0 && std::strchr(name, '/') == nullptr;
}

unsigned int LeadingId(const char* text) {
  // Names of records are short numbers; what is not goes to the parser.
  unsigned int id = 0;
  const char* c = text;
  for (; *c >= '0' && *c <= '9' && c - text < kSafeDigits; ++c) {
    id = id * 10 + static_cast<unsigned int>(*c - '0');
  }
  if (c != text && *c == '\0') return id;
  return static_cast<unsigned int>(std::strtol(text, nullptr, 10));
}

}  // namespace KivDB
