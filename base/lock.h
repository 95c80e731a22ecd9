// The locked span.

#ifndef BASE_LOCK_H_
#define BASE_LOCK_H_

#include <pthread.h>

#include <exception>

namespace KivDB {

inline void UnlockMutex(void* mutex) {
  pthread_mutex_unlock(static_cast<pthread_mutex_t*>(mutex));
}

// Runs body with the mutex held and gives its result.  The mutex is released
// when body returns or throws and when the thread is cancelled inside it.
template <typename Body>
auto WithLock(pthread_mutex_t* mutex, Body body) {
  decltype(body()) result{};
  std::exception_ptr thrown;
  pthread_mutex_lock(mutex);
  pthread_cleanup_push(UnlockMutex, mutex);
  // Not every C library runs the handler for what is thrown past it.
  try {
    result = body();
  } catch (const std::exception&) {
    thrown = std::current_exception();
  }
  pthread_cleanup_pop(1);
  if (thrown) std::rethrow_exception(thrown);
  return result;
}

}  // namespace KivDB

#endif  // BASE_LOCK_H_
