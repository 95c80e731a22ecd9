// Spans under a mutex of this process and a lock between processes.

#ifndef CORE_LOCKED_H_
#define CORE_LOCKED_H_

#include <kivdb/lock.h>
#include <kivdb/status.h>
#include <sys/file.h>

#include "base/file_lock.h"
#include "base/lock.h"
#include "base/lock_wait.h"

namespace KivDB {

// How long reading waits for a change, in milliseconds, before it goes on
// without a lock.
constexpr unsigned int kReaderWait = 100;

// Logs that there is no lock, and gives kInvalid.
int LockError();

// Waits for the lock as long as LockWait() allows and shares it.  kHeld; kNone
// where there is none to be had; kFailed, logged.
LockResult TakeLock(CFileLock& lock, const char* directory);

// Waits for a shared lock as long as reading does.
void TakeShared(CFileLock& lock, const char* directory);

// Runs body, which changes the directory, with the mutex and the directory's
// lock held, and gives its result; or LockError.  Between two attempts nothing
// is held, so that other threads go on and the thread can be cancelled.  Where
// no lock is to be had, body runs without, and fails as it must.
template <typename Body>
int Change(pthread_mutex_t* mutex, const char* directory, Body body) {
  CLockWait wait(LockWait());
  for (;;) {
    LockResult got = LockResult::kFailed;
    const int status = WithLock(mutex, [&]() -> int {
      CFileLock lock;
      got = lock.Try(directory, LOCK_EX);
      return IsFree(got) ? body() : kInvalid;
    });
    if (IsFree(got)) return status;
    if (got == LockResult::kFailed || !wait.Pause()) return LockError();
  }
}

// Runs body, which reads the names of an open directory, with the mutex held
// and, unless that takes too long, a shared lock, which it is given.
template <typename Body>
auto WithNames(pthread_mutex_t* mutex, int directory, Body body) {
  CLockWait wait(kReaderWait, true);
  for (bool isLast = false;; isLast = !wait.Pause()) {
    bool isBusy = false;
    auto result = WithLock(mutex, [&] {
      CSharedLock names;
      isBusy = names.Try(directory) == LockResult::kBusy && !isLast;
      return isBusy ? decltype(body(names)){} : body(names);
    });
    if (!isBusy) return result;
  }
}

}  // namespace KivDB

#endif  // CORE_LOCKED_H_
