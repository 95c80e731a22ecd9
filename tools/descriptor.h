// A file descriptor and its owner.

#ifndef TOOLS_DESCRIPTOR_H_
#define TOOLS_DESCRIPTOR_H_

#include <unistd.h>

#include <utility>

namespace tool {

class CDescriptor {
 public:
  explicit CDescriptor(int fd = -1) : m_fd(fd) {}
  ~CDescriptor() {
    if (m_fd >= 0) close(m_fd);
  }
  CDescriptor(CDescriptor&& other) noexcept
      : m_fd(std::exchange(other.m_fd, -1)) {}
  CDescriptor& operator=(CDescriptor&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }

  int get() const { return m_fd; }
  bool isOpen() const { return m_fd >= 0; }
  int release() { return std::exchange(m_fd, -1); }

 private:
  int m_fd;
};

}  // namespace tool

#endif  // TOOLS_DESCRIPTOR_H_
