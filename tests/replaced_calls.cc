// Calls of the system that a test replaces in its program. The dynamic linker
// takes them before the real ones, to which they forward.
//
// They run before a sanitizer is ready, and so are compiled without any.

#include "replaced_calls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

using KivDB::Action;
using KivDB::plan;

// The address sanitizer does not know that a cancelled thread leaves its
// frames: it has to be told, where it is there.
extern "C" void __asan_handle_no_return() __attribute__((weak));

// The leak sanitizer knows what the dynamic linker keeps by the linker's calls
// of malloc, which stand behind the one below.
extern "C" const char* __lsan_default_suppressions() { return "leak:ld-linux"; }

namespace {

bool IsReached(Action action) {
  return plan.action == action && ++plan.calls >= plan.at;
}

// True when the call has to fail, with errno set.
bool Enter(const char* call) {
  if (IsReached(Action::kExit)) _exit(3);
  if (plan.failing == nullptr || std::strcmp(plan.failing, call) != 0) {
    return false;
  }
  errno = plan.error;
  return true;
}

// Behind the call, so that what it made may be lost.
void Leave() {
  if (!IsReached(Action::kCancel)) return;
  pthread_cancel(pthread_self());
  if (__asan_handle_no_return != nullptr) __asan_handle_no_return();
  pthread_testcancel();
}

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// Every call that can end the thread does so, even where the system makes it no
// cancellation point.
#define REPLACE(result, call, parameters, arguments, failure, isPlain) \
  result call parameters noexcept(isPlain) {                           \
    if (Enter(#call)) return failure;                                  \
    result got = Real<result parameters>(#call) arguments;             \
    if (!(isPlain)) Leave();                                           \
    return got;                                                        \
  }

extern "C" {

REPLACE(ssize_t, read, (int a, void* b, size_t c), (a, b, c), -1, false)
REPLACE(ssize_t, write, (int a, const void* b, size_t c), (a, b, c), -1, false)
REPLACE(int, close, (int a), (a), -1, false)
REPLACE(int, fsync, (int a), (a), -1, false)
REPLACE(DIR*, opendir, (const char* a), (a), nullptr, false)
REPLACE(int, closedir, (DIR * a), (a), -1, false)
REPLACE(dirent*, readdir, (DIR * a), (a), nullptr, false)
REPLACE(int, rename, (const char* a, const char* b), (a, b), -1, true)
REPLACE(int, unlink, (const char* a), (a), -1, true)
REPLACE(int, unlinkat, (int a, const char* b, int c), (a, b, c), -1, true)

int openat(int directory, const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = va_arg(rest, mode_t);
  va_end(rest);
  if (Enter((flags & O_CREAT) != 0 ? "create" : "openat")) return -1;
  auto* real = Real<int(int, const char*, int, ...)>("openat");
  const int fd = real(directory, path, flags, mode);
  Leave();
  return fd;
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
  return block != nullptr ? block : throw std::bad_alloc();
}
// Inlined, they would look like frees of what new gave.
[[gnu::noinline]] void operator delete(void* block) noexcept { free(block); }
[[gnu::noinline]] void operator delete(void* block, size_t) noexcept {
  free(block);
}
