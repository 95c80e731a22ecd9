// Loaded before a program, kills it before its call number KIVDB_STOP_AT of
// those that change files; a write counts twice, for the second time when half
// of it is done.  With the number 0 the calls are named on standard error.  A
// sync is no such call: the kernel keeps what the killed program did.

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

long g_count = 0;

long StopAt() {
  const char* number = std::getenv("KIVDB_STOP_AT");
  return number != nullptr ? std::strtol(number, nullptr, 10) : -1;
}

// Whether the next call is that at which the program ends.
bool IsNext() { return g_count + 1 == StopAt(); }

void Step(const char* call) {
  if (IsNext()) kill(getpid(), SIGKILL);
  ++g_count;
  if (StopAt() == 0) dprintf(STDERR_FILENO, "%ld %s\n", g_count, call);
}

// The call that is replaced.
template <typename Call>
Call* Real(const char* name) {
  return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define STEP_AND_CALL(name, ...)                           \
  do {                                                     \
    static auto* const real = Real<decltype(name)>(#name); \
    Step(#name);                                           \
    return real(__VA_ARGS__);                              \
  } while (false)

extern "C" {

ssize_t write(int file, const void* bytes, size_t size) {
  static auto* const real = Real<decltype(write)>("write");
  // Steps are named by writes, too.
  if (file == STDERR_FILENO) return real(file, bytes, size);
  Step("write");
  if (IsNext() && real(file, bytes, size / 2) < 0) return -1;
  Step("half of a write");
  return real(file, bytes, size);
}

int rename(const char* from, const char* to) noexcept {
  STEP_AND_CALL(rename, from, to);
}

int renameat2(int fromFile, const char* from, int toFile, const char* to,
              unsigned int flags) noexcept {
  STEP_AND_CALL(renameat2, fromFile, from, toFile, to, flags);
}

int unlink(const char* path) noexcept { STEP_AND_CALL(unlink, path); }

int unlinkat(int directory, const char* path, int flags) noexcept {
  STEP_AND_CALL(unlinkat, directory, path, flags);
}

int mkdir(const char* path, mode_t mode) noexcept {
  STEP_AND_CALL(mkdir, path, mode);
}

char* mkdtemp(char* path) noexcept { STEP_AND_CALL(mkdtemp, path); }

int rmdir(const char* path) noexcept { STEP_AND_CALL(rmdir, path); }

int open(const char* path, int flags, ...) {
  static auto* const real = Real<decltype(open)>("open");
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  if ((flags & (O_CREAT | O_TRUNC)) != 0) Step("open");
  return real(path, flags, mode);
}

int openat(int directory, const char* path, int flags, ...) {
  static auto* const real = Real<decltype(openat)>("openat");
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  if ((flags & (O_CREAT | O_TRUNC)) != 0) Step("openat");
  return real(directory, path, flags, mode);
}

}  // extern "C"
