// Waiting for a lock, by attempts.

#ifndef BASE_LOCK_WAIT_H_
#define BASE_LOCK_WAIT_H_

namespace KivDB {

// The time that one wait has taken, by the monotonic clock.  It begins with the
// first pause.
class CLockWait {
 public:
  // A hasty one makes short pauses only, to get ahead of others that wait.
  explicit CLockWait(unsigned int milliseconds, bool isHasty = false)
      : m_limit(milliseconds), m_isHasty(isHasty) {}

  // Sleeps between two attempts, longer the longer the wait has been.  False at
  // once when the time is over.  A cancellation point.
  bool Pause();

 private:
  long long m_limit;
  bool m_isHasty;
  long long m_begin = -1;  // in nanoseconds
};

}  // namespace KivDB

#endif  // BASE_LOCK_WAIT_H_
