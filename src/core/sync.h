// Forcing files and directories to disk by their path.

#ifndef CORE_SYNC_H_
#define CORE_SYNC_H_

#include "core/path.h"

namespace KivDB {

// Forces the file or directory to disk.  A failure is ignored: this is for
// files that are written in place, where a failed write is ignored as well.
void SyncPath(const char* path);

// The path, or the nearest directory above it that is there.
CPath NearestExisting(CPath path);

// Forces the directory and those above it to disk, up to the directory top.
void SyncUpTo(const CPath& top, CPath directory);

}  // namespace KivDB

#endif  // CORE_SYNC_H_
