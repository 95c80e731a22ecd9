// Small helpers on NUL-terminated texts.

#include "core/text.h"

#include <cstdlib>
#include <cstring>

namespace KivDB {

bool IsPathComponent(const char* name) {
  return *name != '\0' && std::strcmp(name, ".") != 0 &&
         std::strcmp(name, "..") != 0 && std::strchr(name, '/') == nullptr;
}

unsigned int ParseLeadingId(const char* text) {
  return static_cast<unsigned int>(std::strtol(text, nullptr, 10));
}

}  // namespace KivDB
