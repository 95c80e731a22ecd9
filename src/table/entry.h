// What an entry of a table directory is: a marker or a record candidate.

#ifndef TABLE_ENTRY_H_
#define TABLE_ENTRY_H_

#include <cstring>

namespace KivDB {

// A marker's name contains ".ADD" or ".UPDATE".  It is never a record.
bool IsMarker(const char* name);

// Logs the marker that a scan skips.
void LogMarker(const char* name);

// Whether a scan skips the entry, with its line.  Most names have no dot.
inline bool SkipMarker(const char* name) {
  if (std::strchr(name, '.') == nullptr || !IsMarker(name)) return false;
  LogMarker(name);
  return true;
}

}  // namespace KivDB

#endif  // TABLE_ENTRY_H_
