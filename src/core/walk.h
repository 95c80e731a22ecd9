// Walking the entries of a directory.

#ifndef CORE_WALK_H_
#define CORE_WALK_H_

#include <kivdb/dir_iterator.h>

#include <cerrno>

namespace KivDB {

enum class WalkResult { kStopped, kEnd, kFailed };

inline bool IsDots(const char* name) {
  return name[0] == '.' &&
         (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// Calls visit with the name of every further entry but "." and ".." until it
// returns false.  kFailed when the directory could not be read to its end: the
// iterator is closed then, as after an open that failed.
template <typename Visit>
WalkResult WalkEntries(CDirIterator& entries, Visit visit) {
  while (const dirent* entry = entries.read()) {
    if (!IsDots(entry->d_name) && !visit(entry->d_name)) {
      return WalkResult::kStopped;
    }
  }
  if (errno == 0) return WalkResult::kEnd;
  entries.close();
  return WalkResult::kFailed;
}

}  // namespace KivDB

#endif  // CORE_WALK_H_
