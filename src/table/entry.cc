// Telling markers from record candidates.

#include "table/entry.h"

#include <kivdb/status.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "core/format.h"
#include "core/log.h"

namespace KivDB {

bool IsMarker(const char* name) {
  return std::any_of(
      std::begin(kMarkers), std::end(kMarkers),
      [&](const char* marker) { return std::strstr(name, marker) != nullptr; });
}

void LogMarker(const char* name) {
  KIVDB_ERROR(kBadRecord, "invalid record name found: %s.", name);
}

}  // namespace KivDB
