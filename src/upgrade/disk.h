// Steps of a change on disk: each is there before the next one begins.

#ifndef UPGRADE_DISK_H_
#define UPGRADE_DISK_H_

#include <kivdb/dir_iterator.h>
#include <kivdb/status.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <string>
#include <string_view>

#include "core/walk.h"

namespace KivDB {

// Each step gives kOk, or kInvalid with a line that says what cannot be done to
// which path and why.

// Logs that line, with errno, and gives kInvalid.
int DiskError(const char* what, const std::string& path);

// The directory of a path with a slash.
std::string ParentOf(const std::string& path);

// Sets found to the entry, its mode to 0 where there is none; links are not
// followed.
int Look(const std::string& path, struct stat& found);

// Tells whether there is such an entry.
int Find(const std::string& path, bool& isThere);

// Whether there surely is no such entry, or surely is one.
bool IsMissing(const std::string& path);
bool IsThere(const std::string& path);
bool IsDirectory(const std::string& path);

int SyncDirectory(const std::string& path);

// Forces a directory with all of its files to disk.
int SyncFiles(const std::string& directory);

// Calls visit with each name of a directory until that fails.
template <typename Visit>
int ForEachEntry(const std::string& directory, Visit visit) {
  CDirIterator entries;
  if (entries.open(directory) != 0) return DiskError("read", directory);
  int status = kOk;
  const WalkResult walk = WalkEntries(entries, [&](const char* name) {
    status = visit(std::string(name));
    return status == kOk;
  });
  return walk == WalkResult::kFailed ? DiskError("read", directory) : status;
}

// Makes a directory and forces its name to disk; one that is there will do.
int MakeDirectory(const std::string& path, mode_t mode);

// Renames, over what a rename replaces, and forces both directories to disk.
int Rename(const std::string& from, const std::string& to);

// The same, but kNotEmpty, without a line, where the name is taken.
int RenameNew(const std::string& from, const std::string& to);

// Writes a file as a whole.  Where like is given its mode and, as far as that
// is allowed, its owner count.  Forced to disk is the file, not its name.
enum class Sync { kNow, kLater };
int WriteFile(const std::string& path, std::string_view content, mode_t mode,
              Sync sync, const struct stat* like = nullptr);

// Gives what is open the mode and, as far as that is allowed, the owner.
int MakeLike(int fd, const struct stat& like, const std::string& path);

}  // namespace KivDB

#endif  // UPGRADE_DISK_H_
