// What an entry of a table directory is: a marker or a record candidate.

#include "table/entry.h"

#include <kivdb/status.h>

#include <cstring>

#include "core/log.h"

namespace KivDB {

bool IsMarker(const char* name) {
  return std::strstr(name, ".ADD") != nullptr ||
         std::strstr(name, ".UPDATE") != nullptr;
}

void LogMarker(const char* name) {
  KIVDB_ERROR(kBadRecord, "invalid record name found: %s.", name);
}

}  // namespace KivDB
