// What an entry of a table directory is: a marker or a record candidate.

#include "table/entry.h"

#include <kivdb/status.h>

#include <cstring>

#include "core/log.h"

namespace KivDB {

bool IsMarker(const char* name) {
  // Most names have no dot at all.
  const char* dot = std::strchr(name, '.');
  return dot != nullptr && (std::strstr(dot, ".ADD") != nullptr ||
                            std::strstr(dot, ".UPDATE") != nullptr);
}

bool SkipMarker(const char* name) {
  if (!IsMarker(name)) return false;
  KIVDB_ERROR(kBadRecord, "invalid record name found: %s.", name);
  return true;
}

}  // namespace KivDB
