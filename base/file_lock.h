// Advisory locks on directories, between threads and between processes.

#ifndef BASE_FILE_LOCK_H_
#define BASE_FILE_LOCK_H_

#include <sys/types.h>

#include <optional>

#include "base/descriptor.h"

namespace KivDB {

enum class LockResult {
  kHeld,
  kBusy,    // another one holds it, or the directory was exchanged meanwhile
  kNone,    // there is none: no such directory, no right, or no locks at all
  kFailed,  // the system had no room for one
};

// Whether what the lock is for may be done.
inline bool IsFree(LockResult result) {
  return result == LockResult::kHeld || result == LockResult::kNone;
}

// A lock on a directory with a descriptor of its own.  Every other such lock is
// kept out, in this process as well.  When it is shared, those of the same
// thread are let in.
//
// Belongs to one thread: a forked child has no part in it.  Nothing here is a
// cancellation point.
class CFileLock {
 public:
  CFileLock() = default;
  ~CFileLock() { Release(); }
  CFileLock(const CFileLock&) = delete;
  CFileLock& operator=(const CFileLock&) = delete;

  // One attempt, without waiting.  operation is LOCK_EX or LOCK_SH.
  LockResult Try(const char* directory, int operation);

  // Lets other locks of this thread in, from now on.
  void Share();

  // Unlocks before it closes: a forked child has the descriptor, too.
  void Release();

 private:
  friend class CSharedLock;

  static bool IsOwn(int fd);
  LockResult TryOpened(const char* directory, int operation);
  void DropNote();

  static thread_local CFileLock* m_notes;  // of the locks that the thread holds

  std::optional<CDescriptor> m_directory;  // there while the lock is held
  pid_t m_process = 0;                     // that shares it; 0: none
  dev_t m_device = 0;
  ino_t m_inode = 0;
  CFileLock* m_next = nullptr;
};

// A shared lock on a directory that is open for something else.
class CSharedLock {
 public:
  CSharedLock() = default;
  ~CSharedLock() { Release(); }
  CSharedLock(const CSharedLock&) = delete;
  CSharedLock& operator=(const CSharedLock&) = delete;

  // One attempt.  The descriptor stays the caller's and open until Release.
  LockResult Try(int fd);
  void Release();

  bool IsHeld() const { return m_isHeld; }

 private:
  int m_fd = -1;
  bool m_isHeld = false;  // also where the thread holds the directory anyway
};

}  // namespace KivDB

#endif  // BASE_FILE_LOCK_H_
