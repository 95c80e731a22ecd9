// Locks of flock: they go with the last descriptor of an opening, whatever
// ends the process, and can be had on a directory that is open for reading.

#include "base/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace KivDB {
namespace {

LockResult Flock(int fd, int operation) {
  int got;
  do {
    got = flock(fd, operation | LOCK_NB);
  } while (got != 0 && errno == EINTR);
  if (got == 0) return LockResult::kHeld;
  if (errno == EWOULDBLOCK) return LockResult::kBusy;
  const bool isFull = errno == ENOLCK || errno == ENOMEM;
  return isFull ? LockResult::kFailed : LockResult::kNone;
}

}  // namespace

thread_local CFileLock* CFileLock::m_notes = nullptr;

// Whether the thread shares the directory.  Costs nothing where it shares none.
bool CFileLock::IsOwn(int fd) {
  struct stat opened;
  if (m_notes == nullptr || fstat(fd, &opened) != 0) return false;
  for (const CFileLock* lock = m_notes; lock != nullptr; lock = lock->m_next) {
    if (lock->m_device == opened.st_dev && lock->m_inode == opened.st_ino) {
      return lock->m_process == getpid();
    }
  }
  return false;
}

LockResult CFileLock::Try(const char* directory, int operation) {
  Release();
  m_directory.emplace(directory, O_RDONLY | O_DIRECTORY);
  LockResult result = LockResult::kHeld;
  if (!m_directory->IsOpen()) {
    const bool isFull = errno == EMFILE || errno == ENFILE || errno == ENOMEM;
    result = isFull ? LockResult::kFailed : LockResult::kNone;
  } else if (!IsOwn(m_directory->Get())) {
    result = TryOpened(directory, operation);
    if (result == LockResult::kHeld) return result;
  }
  m_directory.reset();
  return result;
}

// The name may by now be that of another directory.
LockResult CFileLock::TryOpened(const char* directory, int operation) {
  const int fd = m_directory->Get();
  const LockResult result = Flock(fd, operation);
  if (result != LockResult::kHeld) return result;
  struct stat opened;
  struct stat named;
  if (fstat(fd, &opened) == 0 && stat(directory, &named) == 0 &&
      named.st_dev == opened.st_dev && named.st_ino == opened.st_ino) {
    m_device = opened.st_dev;
    m_inode = opened.st_ino;
    return LockResult::kHeld;
  }
  Flock(fd, LOCK_UN);
  return LockResult::kBusy;
}

void CFileLock::Share() {
  if (!m_directory) return;  // another lock of this thread is shared
  m_process = getpid();
  m_next = m_notes;
  m_notes = this;
}

void CFileLock::DropNote() {
  CFileLock** at = &m_notes;
  while (*at != nullptr && *at != this) at = &(*at)->m_next;
  if (*at == this) *at = m_next;
}

void CFileLock::Release() {
  if (!m_directory) return;
  if (m_process != 0) DropNote();
  if (m_process == 0 || m_process == getpid()) {
    Flock(m_directory->Get(), LOCK_UN);
  }
  m_process = 0;
  m_directory.reset();
}

LockResult CSharedLock::Try(int fd) {
  Release();
  const bool isOwn = CFileLock::IsOwn(fd);
  const LockResult result = isOwn ? LockResult::kHeld : Flock(fd, LOCK_SH);
  m_isHeld = result == LockResult::kHeld;
  if (m_isHeld && !isOwn) m_fd = fd;
  return result;
}

void CSharedLock::Release() {
  if (m_fd >= 0) Flock(m_fd, LOCK_UN);
  m_fd = -1;
  m_isHeld = false;
}

}  // namespace KivDB
