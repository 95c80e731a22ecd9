// Thread cancellation, held off where it would lose something.

#ifndef BASE_CANCELLATION_H_
#define BASE_CANCELLATION_H_

#include <pthread.h>

namespace KivDB {

// Holds cancellation of this thread off while it lives; a request that came
// meanwhile acts at the next cancellation point after it.  open makes its
// descriptor before it acts on a request, close in a destructor ends the
// process, and a log line can be written anywhere: all three need this.
class CCancellationHold {
 public:
  CCancellationHold() {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_state);
  }
  ~CCancellationHold() { pthread_setcancelstate(m_state, nullptr); }
  CCancellationHold(const CCancellationHold&) = delete;
  CCancellationHold& operator=(const CCancellationHold&) = delete;

 private:
  int m_state = PTHREAD_CANCEL_ENABLE;
};

}  // namespace KivDB

#endif  // BASE_CANCELLATION_H_
