// Removing marker entries, or all entries, of a table directory.

#include <kivdb/status.h>
#include <kivdb/table.h>
#include <unistd.h>

#include "base/lock.h"
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
  if (!OpenCursor()) return failure;
  return WithLock(m_mutex, [&]() -> int {
    const WalkResult walk = WalkEntries(m_dirIterator, [&](const char* name) {
      if (isChosen(name)) unlinkat(m_dirIterator.Descriptor(), name, 0);
      return true;
    });
    return walk == WalkResult::kEnd ? kOk : failure;
  });
}

}  // namespace KivDB
