// What an entry of a table directory is: a marker or a record candidate.

#ifndef TABLE_ENTRY_H_
#define TABLE_ENTRY_H_

#include <cstring>

#include "core/format.h"

namespace KivDB {

// Whether the entry is a marker, and never a record, by what its name contains.
bool IsMarker(const char* name);

// Whether the name is that of a save's temporary file.
inline bool IsTemporary(const char* name) {
  if (std::strchr(name, '.') == nullptr) return false;
  return std::strcmp(std::strrchr(name, '.'), kTemporarySuffix) == 0;
}

// Logs a marker that a scan skips.
void LogMarker(const char* name);

// Logs the entry if it is a marker and tells whether it is one.  Most names
// have no dot.
inline bool LogIfMarker(const char* name) {
  if (std::strchr(name, '.') == nullptr || !IsMarker(name)) return false;
  LogMarker(name);
  return true;
}

}  // namespace KivDB

#endif  // TABLE_ENTRY_H_
