// The mutex that a table and its copies share.

#ifndef TABLE_SHARED_MUTEX_H_
#define TABLE_SHARED_MUTEX_H_

#include <pthread.h>

namespace KivDB {

// A new mutex with default attributes and one user; null when the system has
// none to give.  Throws std::bad_alloc.
pthread_mutex_t* NewSharedMutex();

// Adds a user and returns the mutex, or takes one away and destroys the mutex
// with its last.  Null is ignored.
pthread_mutex_t* ShareMutex(pthread_mutex_t* mutex);
void ReleaseMutex(pthread_mutex_t* mutex);

}  // namespace KivDB

#endif  // TABLE_SHARED_MUTEX_H_
