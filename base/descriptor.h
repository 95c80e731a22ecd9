// One open file descriptor and its owner.

#ifndef BASE_DESCRIPTOR_H_
#define BASE_DESCRIPTOR_H_

#include <fcntl.h>
#include <unistd.h>

#include "base/cancellation.h"

namespace KivDB {

// Owns a descriptor, which is always close-on-exec.  Neither opening nor
// closing is a cancellation point; what runs between them may be one.  errno
// tells why a descriptor is not open.
class CDescriptor {
 public:
  CDescriptor(const char* path, int flags, mode_t mode = 0)
      : CDescriptor(AT_FDCWD, path, flags, mode) {}

  // path is taken from the open directory when it is relative.
  CDescriptor(int directory, const char* path, int flags, mode_t mode = 0) {
    CCancellationHold hold;
    m_fd = openat(directory, path, flags | O_CLOEXEC, mode);
  }

  ~CDescriptor() { Close(); }
  CDescriptor(const CDescriptor&) = delete;
  CDescriptor& operator=(const CDescriptor&) = delete;

  bool IsOpen() const { return m_fd >= 0; }
  int Get() const { return m_fd; }

  void Close() {
    if (m_fd < 0) return;
    CCancellationHold hold;
    close(m_fd);
    m_fd = -1;
  }

 private:
  int m_fd = -1;
};

}  // namespace KivDB

#endif  // BASE_DESCRIPTOR_H_
