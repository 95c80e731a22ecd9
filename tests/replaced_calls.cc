// Calls of the platform and the system that a test replaces in its program. The
// dynamic linker takes them before the real ones, to which they forward.
//
// They run before a sanitizer is ready, and so are compiled without any.

#include "replaced_calls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <new>

// The address sanitizer does not know that a cancelled thread leaves its
// frames: it has to be told, where it is there.
extern "C" void __asan_handle_no_return() __attribute__((weak));

// The leak sanitizer knows what the dynamic linker keeps by the linker's calls
// of malloc, which stand behind the one below.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:ld-linux";
}

namespace KivDB {

thread_local Plan plan;

}  // namespace KivDB

namespace {

using KivDB::Action;
using KivDB::plan;

bool IsReached(Action action) {
  return plan.action == action && ++plan.calls >= plan.at;
}

// True when the call has to fail, with errno set.  A call that can end the
// thread is a cancellation point here even where the system makes it none.
bool Enter(const char* call, bool canCancel = true) {
  if (IsReached(Action::kCancel) && canCancel) {
    if (plan.calls >= plan.at) pthread_cancel(pthread_self());
    if (__asan_handle_no_return != nullptr) __asan_handle_no_return();
    pthread_testcancel();
  }
  if (IsReached(Action::kExit)) _exit(3);
  if (plan.failing == nullptr || std::strcmp(plan.failing, call) != 0) {
    return false;
  }
  errno = plan.error;
  return true;
}

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define REPLACE(result, call, parameters, arguments, failure) \
  result call parameters {                                    \
    if (Enter(#call)) return failure;                         \
    return Real<result parameters>(#call) arguments;          \
  }

// For calls that the system declares to throw nothing.
#define REPLACE_PLAIN(result, call, parameters, arguments) \
  result call parameters noexcept {                        \
    if (Enter(#call, false)) return -1;                    \
    return Real<result parameters>(#call) arguments;       \
  }

extern "C" {

REPLACE(ssize_t, safe_write, (int fd, const void* bytes, size_t length),
        (fd, bytes, length), -1)
REPLACE(int, safe_fsync, (int fd), (fd), -1)
REPLACE(int, rename_dirfsync,
        (const char* from, const char* to, const char* directory, int flags),
        (from, to, directory, flags), -1)
REPLACE(int, zel_access, (const char* path, int mode), (path, mode), -1)
REPLACE(ssize_t, read, (int fd, void* bytes, size_t length),
        (fd, bytes, length), -1)
REPLACE(ssize_t, write, (int fd, const void* bytes, size_t length),
        (fd, bytes, length), -1)
REPLACE(int, close, (int fd), (fd), -1)
REPLACE(int, fsync, (int fd), (fd), -1)
REPLACE(DIR*, opendir, (const char* path), (path), nullptr)
REPLACE(int, closedir, (DIR * directory), (directory), -1)
REPLACE(dirent*, readdir, (DIR * directory), (directory), nullptr)

REPLACE_PLAIN(int, rename, (const char* from, const char* to), (from, to))
REPLACE_PLAIN(int, unlink, (const char* path), (path))
REPLACE_PLAIN(int, unlinkat, (int directory, const char* path, int flags),
              (directory, path, flags))

int openat(int directory, const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = va_arg(rest, mode_t);
  va_end(rest);
  if (Enter((flags & O_CREAT) != 0 ? "create" : "openat")) return -1;
  return Real<int(int, const char*, int, ...)>("openat")(directory, path, flags,
                                                         mode);
}

void* malloc(size_t size) noexcept {
  static void* (*real)(size_t) = nullptr;  // a guard would need memory
  if (real == nullptr) real = Real<void*(size_t)>("malloc");
  return IsReached(Action::kFailMemory) ? nullptr : real(size);
}

void* realloc(void* block, size_t size) noexcept {
  static void* (*real)(void*, size_t) = nullptr;
  if (real == nullptr) real = Real<void*(void*, size_t)>("realloc");
  return IsReached(Action::kFailMemory) ? nullptr : real(block, size);
}

}  // extern "C"

void* operator new(size_t size) {
  void* block = malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
// Inlined, they would look like frees of what new gave.
[[gnu::noinline]] void operator delete(void* block) noexcept { free(block); }
[[gnu::noinline]] void operator delete(void* block, size_t) noexcept {
  free(block);
}
