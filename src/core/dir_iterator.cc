// The stream is opened and closed with cancellation held off.

#include <kivdb/dir_iterator.h>

#include <cerrno>

#include "base/cancellation.h"

namespace KivDB {

CDirIterator::CDirIterator() : m_dir(nullptr) {}

CDirIterator::CDirIterator(const std::string& path)
    : m_path(path), m_dir(nullptr) {}

CDirIterator::~CDirIterator() { close(); }

int CDirIterator::open() { return OpenStream(m_path.c_str()); }

int CDirIterator::open(const std::string& path) {
  return OpenStream(path.c_str());
}

int CDirIterator::OpenStream(const char* path) {
  close();
  CCancellationHold hold;
  m_dir = opendir(path);
  return m_dir != nullptr ? 0 : -1;
}

void CDirIterator::close() {
  if (m_dir == nullptr) return;
  CCancellationHold hold;
  closedir(m_dir);
  m_dir = nullptr;
}

dirent* CDirIterator::read() {
  errno = 0;
  return m_dir != nullptr ? readdir(m_dir) : nullptr;
}

int CDirIterator::read(dirent* entry, dirent** result) {
  if (m_dir == nullptr) return 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  return readdir_r(m_dir, entry, result);
#pragma GCC diagnostic pop
}

void CDirIterator::rewind() {
  if (m_dir != nullptr) rewinddir(m_dir);
}

void CDirIterator::seek(long position) {
  if (m_dir != nullptr) seekdir(m_dir, position);
}

long CDirIterator::tell() { return m_dir != nullptr ? telldir(m_dir) : 0; }

int CDirIterator::Descriptor() const { return dirfd(m_dir); }

}  // namespace KivDB
