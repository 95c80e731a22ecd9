// Loaded before a program, kills it before its call number KIVDB_STOP_AT of
// those that change files; a write counts twice, for the second time when half
// of it is done.  With the number 0, or with KIVDB_NAMES, the calls are named
// on standard error, with their paths and what is written.  A sync, named as
// well, is no such call, and not done: the kernel keeps what the killed program
// did.
//
// With KIVDB_SYNC_SEED syncs are done, and others at random between the calls.
// With KIVDB_PLANT the steps of a save are those of a faulty one.
//
// KIVDB_FAIL_AT fails the allocation of that number, counted from the first of
// these calls on, with a "+" behind the number every later one, too.  With the
// number 0 their count is written to standard error at the end.  Then nothing
// here may allocate.

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>

namespace {

long g_count = 0;
bool g_hasBegun = false;
long g_allocations = 0;

long StopAt() {
  const char* number = std::getenv("KIVDB_STOP_AT");
  return number != nullptr ? std::strtol(number, nullptr, 10) : -1;
}

// Whether the next call is that at which the program ends.
bool IsNext() { return g_count + 1 == StopAt(); }

bool FailsMemory() { return std::getenv("KIVDB_FAIL_AT") != nullptr; }

void Name(const char* call, std::string_view path, const char* to = "") {
  if (StopAt() != 0 && std::getenv("KIVDB_NAMES") == nullptr) return;
  dprintf(STDERR_FILENO, "%ld\t%s\t%s\t%s\n", g_count, call,
          std::string(path).c_str(), to);
}

// The call that is replaced.
template <typename Call>
Call* Real(const char* name) {
  g_hasBegun = true;
  return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, name));
}

// What another program may do to the file system of the working directory:
// force all to disk, or, in most of them, all names without the data.
void SyncAtRandom() {
  const char* seed = std::getenv("KIVDB_SYNC_SEED");
  if (seed == nullptr) return;
  static std::minstd_rand random(
      static_cast<unsigned int>(std::strtoul(seed, nullptr, 10)));
  static const int top =
      Real<decltype(open)>("open")(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  static auto* const sync = Real<decltype(fsync)>("fsync");
  const auto chance = random() / 16 % 8;
  if (chance == 3) syncfs(top);
  if (chance < 3 && futimens(top, nullptr) == 0) sync(top);
}

void Count() {
  SyncAtRandom();
  if (IsNext()) kill(getpid(), SIGKILL);
  ++g_count;
}

void Step(const char* call, std::string_view path, const char* to = "") {
  Count();
  Name(call, path, to);
}

bool Plants(const char* plant) {
  const char* own = std::getenv("KIVDB_PLANT");
  return own != nullptr && std::string_view(own) == plant;
}

// The record of a temporary file, or nothing for other paths.
std::string RecordOf(std::string_view path) {
  const std::size_t end = path.rfind(".tmp");
  const bool isTemporary = end != path.npos && end + 4 == path.size();
  if (FailsMemory() || !isTemporary) return {};
  return std::string(path.substr(0, end));
}

bool IsInPlace(std::string_view path) {
  return Plants("in place") && !RecordOf(path).empty();
}

std::string Hex(const char* bytes, size_t size) {
  std::string text;
  for (size_t i = 0; i < size && !FailsMemory(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    text += "0123456789abcdef"[byte / 16];
    text += "0123456789abcdef"[byte % 16];
  }
  return text;
}

// The path of what is open, or of an entry there.
std::string PathOf(int file, const char* entry = nullptr) {
  if (FailsMemory()) return {};
  if (entry != nullptr && (file == AT_FDCWD || *entry == '/')) return entry;
  char path[PATH_MAX];
  const std::string link = "/proc/self/fd/" + std::to_string(file);
  const ssize_t size = readlink(link.c_str(), path, sizeof(path));
  const std::string own(path, size > 0 ? static_cast<size_t>(size) : 0);
  return entry != nullptr ? own + "/" + entry : own;
}

bool HasMemory() {
  const char* at = g_hasBegun ? std::getenv("KIVDB_FAIL_AT") : nullptr;
  if (at == nullptr) return true;
  char* end = nullptr;
  const long number = std::strtol(at, &end, 10);
  const bool isPast = *end == '+' && g_allocations >= number;
  if (++g_allocations != number && !isPast) return true;
  errno = ENOMEM;
  return false;
}

__attribute__((destructor)) void TellAllocations() {
  const char* at = std::getenv("KIVDB_FAIL_AT");
  if (at != nullptr && *at == '0') dprintf(STDERR_FILENO, "%ld", g_allocations);
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
  const size_t half = size / 2;
  const char* first = static_cast<const char*>(bytes);
  Step("write", PathOf(file), Hex(first, half).c_str());
  if (IsNext() && real(file, bytes, half) < 0) return -1;
  Step("half of a write", PathOf(file), Hex(first + half, size - half).c_str());
  return real(file, bytes, size);
}

int fsync(int file) {
  const std::string path = PathOf(file);
  const std::string record = RecordOf(path);
  const char* without = record.empty() ? "directory" : "file";
  if (Plants("rename alone") || Plants(without)) return 0;
  if (Plants("unlink first") && !record.empty()) unlink(record.c_str());
  SyncAtRandom();
  Name("fsync", path);
  if (std::getenv("KIVDB_SYNC_SEED") == nullptr) return 0;
  CALL(fsync, file);
}

int rename(const char* from, const char* to) noexcept {
  if (IsInPlace(from)) return 0;
  Step("rename", from, to);
  CALL(rename, from, to);
}

int renameat2(int fromFile, const char* from, int toFile, const char* to,
              unsigned int flags) noexcept {
  Step("rename", PathOf(fromFile, from), PathOf(toFile, to).c_str());
  CALL(renameat2, fromFile, from, toFile, to, flags);
}

int unlink(const char* path) noexcept {
  if (Plants("in place") || Plants("rename alone")) return 0;
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
  static auto* const real = Real<decltype(mkdtemp)>("mkdtemp");
  Count();
  char* made = real(path);
  Name("mkdtemp", path);
  return made;
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
  const char* how = (flags & O_TRUNC) != 0 ? "truncated" : "";
  if ((flags & (O_CREAT | O_TRUNC)) != 0) Step("open", path, how);
  return real(path, flags, mode);
}

int openat(int directory, const char* path, int flags, ...) {
  static auto* const real = Real<decltype(openat)>("openat");
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  const std::string record = IsInPlace(path) ? RecordOf(path) : "";
  const char* place = record.empty() ? path : record.c_str();
  const char* how = (flags & O_TRUNC) != 0 ? "truncated" : "";
  if ((flags & (O_CREAT | O_TRUNC)) != 0) {
    Step("open", PathOf(directory, place), how);
  }
  return real(directory, place, flags, mode);
}

// The linker's own calls need these names, not what dlsym gives.
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

void* malloc(size_t size) noexcept {
  return HasMemory() ? __libc_malloc(size) : nullptr;
}

void* calloc(size_t count, size_t size) noexcept {
  return HasMemory() ? __libc_calloc(count, size) : nullptr;
}

void* realloc(void* block, size_t size) noexcept {
  return HasMemory() ? __libc_realloc(block, size) : nullptr;
}

}  // extern "C"
