// What an entry of a table directory is: a marker or a record candidate.

#ifndef TABLE_ENTRY_H_
#define TABLE_ENTRY_H_

namespace KivDB {

// A marker's name contains ".ADD" or ".UPDATE".  It is never a record.
bool IsMarker(const char* name);

// The same for a scan, which logs the marker that it skips.
bool SkipMarker(const char* name);

}  // namespace KivDB

#endif  // TABLE_ENTRY_H_
