// Removing marker entries, or all entries, of a table directory.

#include <kivdb/status.h>
#include <kivdb/table.h>
#include <unistd.h>

#include "core/locked.h"
#include "core/walk.h"
#include "table/entry.h"

namespace KivDB {

int CTable::recover() { return RemoveEntries(IsMarker, kNotFound); }

int CTable::clear() {
  return RemoveEntries([](const char*) { return true; }, kNotClearable);
}

// failure is the result for a directory that cannot be read.  What cannot be
// unlinked, such as a directory, stays without notice.
int CTable::RemoveEntries(bool (*isChosen)(const char* name), int failure) {
  if (!RequireMutex()) return kInvalid;
  return Change(m_mutex, m_tablePath, [&]() -> int {
    if (!OpenCursor()) return failure;
    const WalkResult walk = WalkEntries(m_dirIterator, [&](const char* name) {
      if (isChosen(name)) unlinkat(m_dirIterator.Descriptor(), name, 0);
      return true;
    });
    return walk == WalkResult::kEnd ? kOk : failure;
  });
}

}  // namespace KivDB
