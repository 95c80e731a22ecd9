// The dynamic linker takes the calls of this file before the real ones, to
// which they forward.
//
// They run before a sanitizer is ready, and so are compiled without any.

#include "replaced_calls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "zel.h"

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
  if (IsReached(Action::kFail) && plan.fails-- > 0) {
    errno = plan.error;
    return true;
  }
  if (plan.failing == nullptr || std::strcmp(plan.failing, call) != 0) {
    return false;
  }
  if (plan.pass-- > 0 || plan.fails-- <= 0) return false;
  if (plan.hook != nullptr) return (plan.hook(), false);
  errno = plan.error;
  return true;
}

// Notes a descriptor that a call works on; texts and times tell nothing.
void Watch(const void* /*argument*/) {}
void Watch(int fd) {
  const int flags = fd > STDERR_FILENO ? fcntl(fd, F_GETFD) : FD_CLOEXEC;
  if ((flags & FD_CLOEXEC) == 0) ++plan.inherited;
}
void Watch(DIR* directory) { Watch(dirfd(directory)); }

void WatchSync(int fd) {
  char link[32];
  snprintf(link, sizeof(link), "/proc/self/fd/%i", fd);
  const std::size_t used = std::strlen(plan.synced);
  if (used + PATH_MAX + 1 > sizeof(plan.synced)) return;
  char* end = plan.synced + used;
  const ssize_t length = readlink(link, end, PATH_MAX);
  if (length > 0) end[length] = '\n';
}

// What it closes is closed even where it fails.
bool IsClosing(const char* call) { return std::strncmp(call, "close", 5) == 0; }

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
    const bool fails = Enter(#call);                                   \
    if (fails && !IsClosing(#call)) return failure;                    \
    Watch(a);                                                          \
    result got = Real<result parameters>(#call) arguments;             \
    if (fails) errno = plan.error;                                     \
    if (!(isPlain)) Leave();                                           \
    return fails ? failure : got;                                      \
  }

extern "C" {

REPLACE(ssize_t, read, (int a, void* b, size_t c), (a, b, c), -1, false)
REPLACE(ssize_t, write, (int a, const void* b, size_t c), (a, b, c), -1, false)
REPLACE(int, close, (int a), (a), -1, false)
REPLACE(DIR*, opendir, (const char* a), (a), nullptr, false)
REPLACE(int, closedir, (DIR * a), (a), -1, false)
REPLACE(dirent*, readdir, (DIR * a), (a), nullptr, false)
REPLACE(int, nanosleep, (const timespec* a, timespec* b), (a, b), -1, false)
REPLACE(int, rename, (const char* a, const char* b), (a, b), -1, true)
REPLACE(int, renameat2,
        (int a, const char* b, int c, const char* d, unsigned int e),
        (a, b, c, d, e), -1, true)
REPLACE(int, mkdir, (const char* a, mode_t b), (a, b), -1, true)
REPLACE(int, unlink, (const char* a), (a), -1, true)
REPLACE(int, lstat, (const char* a, struct stat* b), (a, b), -1, true)
REPLACE(int, flock, (int a, int b), (a, b), -1, true)
REPLACE(int, unlinkat, (int a, const char* b, int c), (a, b, c), -1, true)

int fsync(int fd) {
  if (Enter("fsync")) return -1;
  if (plan.action == Action::kFail) return 0;  // takes time
  if (plan.action == Action::kNone) WatchSync(fd);
  const int got = Real<int(int)>("fsync")(fd);
  Leave();
  return got;
}

// What it gives is the plan's error, and one more at every call.
int InifileGetValueA(const char* section, const char* key, char* out,
                     unsigned int size, const char* fallback,
                     const char* inifile) {
  const bool isCall = plan.action != Action::kNone;
  if (!isCall && Enter("ini")) return plan.error++;
  return Real<decltype(InifileGetValueA)>("InifileGetValueA")(
      section, key, out, size, fallback, inifile);
}

// Only the buffer is promised.
char* StringUnescapeA(const char* input, char* output, size_t capacity) {
  Real<decltype(StringUnescapeA)>("StringUnescapeA")(input, output, capacity);
  return nullptr;
}

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

// A static with a guard would need memory.
#define REPLACE_MEMORY(call, parameters, arguments)                   \
  void* call parameters noexcept {                                    \
    static void*(*real)parameters = nullptr;                          \
    if (real == nullptr) real = Real<void * parameters>(#call);       \
    return IsReached(Action::kFailMemory) ? nullptr : real arguments; \
  }

REPLACE_MEMORY(malloc, (size_t a), (a))
REPLACE_MEMORY(realloc, (void* a, size_t b), (a, b))

}  // extern "C"

void* operator new(size_t size) {
  void* block = malloc(size);
  return block != nullptr ? block : throw std::bad_alloc();
}
void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return malloc(size);
}
// Inlined, they would look like frees of what new gave.
[[gnu::noinline]] void operator delete(void* block) noexcept { free(block); }
[[gnu::noinline]] void operator delete(void* block, size_t) noexcept {
  free(block);
}
