// Loaded before a program, kills it before its call number KIVDB_STOP_AT of
// those that change files; a write counts twice, for the second time when half
// of it is done.  With the number 0 the calls are named on standard error, with
// their paths.  A sync, named as well, is no such call, and not done: the
// kernel keeps what the killed program did.

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

long g_count = 0;

long StopAt() {
  const char* number = std::getenv("KIVDB_STOP_AT");
  return number != nullptr ? std::strtol(number, nullptr, 10) : -1;
}

// Whether the next call is that at which the program ends.
bool IsNext() { return g_count + 1 == StopAt(); }

void Name(const char* call, const std::string& path, const char* to = "") {
  if (StopAt() != 0) return;
  dprintf(STDERR_FILENO, "%ld\t%s\t%s\t%s\n", g_count, call, path.c_str(), to);
}

void Step(const char* call, const std::string& path, const char* to = "") {
  if (IsNext()) kill(getpid(), SIGKILL);
  ++g_count;
  Name(call, path, to);
}

// The path of what is open, or of an entry there.
std::string PathOf(int file, const char* entry = nullptr) {
  if (entry != nullptr && (file == AT_FDCWD || *entry == '/')) return entry;
  char path[PATH_MAX];
  const std::string link = "/proc/self/fd/" + std::to_string(file);
  const ssize_t size = readlink(link.c_str(), path, sizeof(path));
  const std::string own(path, size > 0 ? static_cast<size_t>(size) : 0);
  return entry != nullptr ? own + "/" + entry : own;
}

// The call that is replaced.
template <typename Call>
Call* Real(const char* name) {
  return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define CALL(name, ...)                                    \
  do {                                                     \
    static auto* const real = Real<decltype(name)>(#name); \
    return real(__VA_ARGS__);                              \
  } while (false)

extern "C" {

ssize_t write(int file, const void* bytes, size_t size) {
  static auto* const real = Real<decltype(write)>("write");
  // Steps are named by writes, too.
  if (file == STDERR_FILENO) return real(file, bytes, size);
  Step("write", PathOf(file));
  if (IsNext() && real(file, bytes, size / 2) < 0) return -1;
  Step("half of a write", PathOf(file));
  return real(file, bytes, size);
}

int fsync(int file) {
  Name("fsync", PathOf(file));
  return 0;
}

int rename(const char* from, const char* to) noexcept {
  Step("rename", from, to);
  CALL(rename, from, to);
}

int renameat2(int fromFile, const char* from, int toFile, const char* to,
              unsigned int flags) noexcept {
  Step("rename", PathOf(fromFile, from), PathOf(toFile, to).c_str());
  CALL(renameat2, fromFile, from, toFile, to, flags);
}

int unlink(const char* path) noexcept {
  Step("unlink", path);
  CALL(unlink, path);
}

int unlinkat(int directory, const char* path, int flags) noexcept {
  Step("unlink", PathOf(directory, path));
  CALL(unlinkat, directory, path, flags);
}

int mkdir(const char* path, mode_t mode) noexcept {
  Step("mkdir", path);
  CALL(mkdir, path, mode);
}

char* mkdtemp(char* path) noexcept {
  Step("mkdtemp", path);
  CALL(mkdtemp, path);
}

int rmdir(const char* path) noexcept {
  Step("rmdir", path);
  CALL(rmdir, path);
}

int open(const char* path, int flags, ...) {
  static auto* const real = Real<decltype(open)>("open");
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  if ((flags & (O_CREAT | O_TRUNC)) != 0) Step("open", path);
  return real(path, flags, mode);
}

int openat(int directory, const char* path, int flags, ...) {
  static auto* const real = Real<decltype(openat)>("openat");
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  if ((flags & (O_CREAT | O_TRUNC)) != 0) Step("open", PathOf(directory, path));
  return real(directory, path, flags, mode);
}

}  // extern "C"
