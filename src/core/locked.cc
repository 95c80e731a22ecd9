// Waiting for locks, and the process's patience.

#include "core/locked.h"

#include <atomic>

#include "core/log.h"

namespace KivDB {
namespace {

std::atomic<unsigned int> lock_wait{15000};

}  // namespace

void SetLockWait(unsigned int milliseconds) { lock_wait = milliseconds; }

unsigned int LockWait() { return lock_wait; }

int LockError() {
  return KIVDB_FAIL(kInvalid, "Thread lock is not acquired, cannot proceed!");
}

LockResult TakeLock(CFileLock& lock, const char* directory) {
  CLockWait wait(LockWait());
  LockResult got;
  do {
    got = lock.Try(directory, LOCK_EX);
  } while (got == LockResult::kBusy && wait.Pause());
  lock.Share();
  if (IsFree(got)) return got;
  LockError();
  return LockResult::kFailed;
}

void TakeShared(CFileLock& lock, const char* directory) {
  CLockWait wait(kReaderWait, true);
  while (lock.Try(directory, LOCK_SH) == LockResult::kBusy && wait.Pause()) {
  }
}

}  // namespace KivDB
