// Making, writing, renaming and forcing to disk.

#include "upgrade/disk.h"

#include <fcntl.h>
#include <kivdb/status.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/descriptor.h"
#include "base/renameat2.h"
#include "core/log.h"
#include "zel.h"

namespace KivDB {
namespace {

// A link or a FIFO under the name must fail at once.
constexpr int kWriteFlags =
    O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK;

int SyncOpened(const std::string& path, int flags) {
  const CDescriptor file(path.c_str(), O_RDONLY | flags);
  if (file.IsOpen() && safe_fsync(file.Get()) == 0) return kOk;
  return DiskError("force to disk", path);
}

int SyncBoth(const std::string& from, const std::string& to) {
  const std::string source = ParentOf(from);
  const std::string target = ParentOf(to);
  const int status = SyncDirectory(target);
  return status == kOk && source != target ? SyncDirectory(source) : status;
}

// Where the file system cannot refuse to replace, the locks that are held keep
// others from making the name meanwhile.
bool RenamesNew(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(),
                RENAME_NOREPLACE) == 0) {
    return true;
  }
  if (errno != EINVAL && errno != ENOSYS) return false;
  if (IsMissing(to)) return rename(from.c_str(), to.c_str()) == 0;
  errno = EEXIST;
  return false;
}

}  // namespace

int DiskError(const char* what, const std::string& path) {
  return KIVDB_FAIL(kInvalid, "cannot %s [%s]: %s", what, path.c_str(),
                    strerror(errno));
}

std::string ParentOf(const std::string& path) {
  return path.substr(0, path.rfind('/'));
}

int Look(const std::string& path, struct stat& found) {
  if (lstat(path.c_str(), &found) == 0) return kOk;
  found.st_mode = 0;
  return errno == ENOENT ? int{kOk} : DiskError("read", path);
}

int Find(const std::string& path, bool& isThere) {
  struct stat found;
  const int status = Look(path, found);
  isThere = found.st_mode != 0;
  return status;
}

bool IsMissing(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

bool IsThere(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0;
}

bool IsDirectory(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

int SyncDirectory(const std::string& path) {
  return SyncOpened(path, O_DIRECTORY);
}

// The whole file system first: then there is nothing left to wait for when the
// files are forced one by one, which alone tells what has failed.
int SyncFiles(const std::string& directory) {
  const CDescriptor opened(directory.c_str(), O_RDONLY | O_DIRECTORY);
  if (opened.IsOpen()) syncfs(opened.Get());
  const int status = ForEachEntry(directory, [&](const std::string& name) {
    return SyncOpened(directory + "/" + name, O_NOFOLLOW | O_NONBLOCK);
  });
  return status == kOk ? SyncDirectory(directory) : status;
}

int MakeDirectory(const std::string& path, mode_t mode) {
  if (mkdir(path.c_str(), mode) == 0) return SyncDirectory(ParentOf(path));
  if (errno == EEXIST && IsDirectory(path)) return kOk;
  return DiskError("make the directory", path);
}

int Rename(const std::string& from, const std::string& to) {
  if (rename(from.c_str(), to.c_str()) == 0) return SyncBoth(from, to);
  return DiskError("move", from);
}

int RenameNew(const std::string& from, const std::string& to) {
  if (RenamesNew(from, to)) return SyncBoth(from, to);
  return errno == EEXIST ? int{kNotEmpty} : DiskError("move", from);
}

int WriteFile(const std::string& path, std::string_view content, mode_t mode,
              Sync sync, const struct stat* like) {
  const CDescriptor file(path.c_str(), kWriteFlags, mode);
  if (!file.IsOpen()) return DiskError("write", path);
  const auto length = static_cast<ssize_t>(content.size());
  if (safe_write(file.Get(), content.data(), content.size()) != length) {
    return DiskError("write", path);
  }
  if (like != nullptr) {
    const int status = MakeLike(file.Get(), *like, path);
    if (status != kOk) return status;
  }
  if (sync == Sync::kLater || safe_fsync(file.Get()) == 0) return kOk;
  return DiskError("force to disk", path);
}

// The mode last, as a new owner may take bits of it away.
int MakeLike(int fd, const struct stat& like, const std::string& path) {
  if (fchown(fd, like.st_uid, like.st_gid) != 0 && errno != EPERM) {
    return DiskError("give an owner to", path);
  }
  constexpr mode_t kBits = 07777;
  if (fchmod(fd, like.st_mode & kBits) == 0) return kOk;
  return DiskError("give a mode to", path);
}

}  // namespace KivDB
