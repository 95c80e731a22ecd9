// Writing, forcing to disk, renaming and testing of files.

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>

#include "base/descriptor.h"
#include "zel.h"

ssize_t safe_write(int fd, const void* buffer, size_t length) {
  const char* bytes = static_cast<const char*>(buffer);
  size_t done = 0;
  while (done < length) {
    const ssize_t written = write(fd, bytes + done, length - done);
    if (written < 0 && errno == EINTR) continue;
    // A device that takes nothing and reports nothing would be tried for ever.
    if (written == 0) errno = ENOSPC;
    if (written <= 0) return done > 0 ? static_cast<ssize_t>(done) : -1;
    done += static_cast<size_t>(written);
  }
  return static_cast<ssize_t>(done);
}

// Never tried again: after a failure a second sync may succeed without the data
// being on disk.
int safe_fsync(int fd) { return fsync(fd) == 0 ? 0 : -1; }

// No flag has a meaning: flags is ignored.
int rename_dirfsync(const char* from, const char* to, const char* directory,
                    int /*flags*/) {
  if (rename(from, to) != 0) return -1;
  KivDB::CDescriptor parent(directory, O_RDONLY | O_DIRECTORY);
  if (!parent.IsOpen()) return -1;
  const int result = safe_fsync(parent.Get());
  const int error = errno;
  parent.Close();
  errno = error;
  return result;
}

int zel_access(const char* path, int mode) { return access(path, mode); }
