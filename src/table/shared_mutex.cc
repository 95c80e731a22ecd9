// A mutex with a count of its users behind it.

#include "table/shared_mutex.h"

#include <atomic>
#include <memory>
#include <type_traits>

namespace KivDB {
namespace {

// The mutex comes first, so that its address is that of the whole.
struct SharedMutex {
  pthread_mutex_t mutex;
  std::atomic<int> users;
};
static_assert(std::is_standard_layout<SharedMutex>::value,
              "the mutex must stand at the address of the whole");

SharedMutex* Whole(pthread_mutex_t* mutex) {
  return reinterpret_cast<SharedMutex*>(mutex);
}

}  // namespace

pthread_mutex_t* NewSharedMutex() {
  auto shared = std::make_unique<SharedMutex>();
  if (pthread_mutex_init(&shared->mutex, nullptr) != 0) return nullptr;
  shared->users = 1;
  return &shared.release()->mutex;
}

pthread_mutex_t* ShareMutex(pthread_mutex_t* mutex) {
  if (mutex != nullptr) ++Whole(mutex)->users;
  return mutex;
}

void ReleaseMutex(pthread_mutex_t* mutex) {
  if (mutex == nullptr || --Whole(mutex)->users > 0) return;
  pthread_mutex_destroy(mutex);
  delete Whole(mutex);
}

}  // namespace KivDB
