// The parser for all that is no short number.

#include "core/record_id.h"

#include <cstdlib>

namespace KivDB {

unsigned int ParseLeadingId(const char* text) {
  return static_cast<unsigned int>(std::strtol(text, nullptr, 10));
}

}  // namespace KivDB
