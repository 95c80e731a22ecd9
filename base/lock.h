// The locked span.

#ifndef BASE_LOCK_H_
#define BASE_LOCK_H_

#include <pthread.h>

namespace KivDB {

inline void UnlockMutex(void* mutex) {
  pthread_mutex_unlock(static_cast<pthread_mutex_t*>(mutex));
}

// Runs body with the mutex held and gives its result.  The mutex is released
// when body returns or throws and when the thread is cancelled inside it.
template <typename Body>
auto WithLock(pthread_mutex_t* mutex, Body body) {
  decltype(body()) result{};
  pthread_mutex_lock(mutex);
  pthread_cleanup_push(UnlockMutex, mutex);
  result = body();
  pthread_cleanup_pop(1);
  return result;
}

}  // namespace KivDB

#endif  // BASE_LOCK_H_
