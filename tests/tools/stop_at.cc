// Loaded before a program, kills it before its call number KIVDB_STOP_AT of
// those that change files; a write counts twice, for the second time when half
// of it is done.  They are named on standard error, with their paths and what
// is written.  A sync, named as well, is no such call, and not done: the kernel
// keeps what the killed program did.
//
// With KIVDB_SYNC_SEED syncs are done, and others at random between the calls.
// With KIVDB_PLANT the steps of a save are those of a faulty one.
//
// KIVDB_FAIL_AT fails the allocation of that number, counted from the first of
// these calls on, with a "+" behind the number every later one, too.  With the
// number 0 their count is written to standard error at the end.  Then nothing
// here may allocate, and no call is named.

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <system_error>

namespace {

long g_count = 0;
bool g_hasBegun = false;
long g_allocations = 0;

std::string_view Variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// Whether the next call is that at which the program ends.
bool IsNext() {
  return Variable("KIVDB_STOP_AT") == std::to_string(g_count + 1);
}

bool FailsMemory() { return !Variable("KIVDB_FAIL_AT").empty(); }

bool Plants(const char* plant) { return Variable("KIVDB_PLANT") == plant; }

void Name(const char* call, std::string_view path, const char* to = "") {
  if (FailsMemory()) return;
  dprintf(STDERR_FILENO, "%ld\t%s\t%s\t%s\n", g_count, call,
          std::string(path).c_str(), to);
}

template <typename Call>
Call* Real(const char* name) {
  g_hasBegun = true;
  return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, name));
}

// The call that is replaced.
#define REAL(name) Real<decltype(name)>(#name)

// What another program may do to the file system of the working directory:
// force all to disk, or, in most of them, all names without the data.
void SyncAtRandom() {
  const std::string_view seed = Variable("KIVDB_SYNC_SEED");
  if (seed.empty()) return;
  static std::minstd_rand random(
      static_cast<unsigned int>(std::strtoul(seed.data(), nullptr, 10)));
  static const int top = REAL(open)(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const auto chance = random() / 16 % 8;
  if (chance == 3) syncfs(top);
  if (chance < 3 && futimens(top, nullptr) == 0) REAL(fsync)(top);
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

// The record of a temporary file, or nothing for other paths.
std::string RecordOf(std::string_view path) {
  const std::size_t end = path.rfind(".tmp");
  const bool isTemporary = end != path.npos && end + 4 == path.size();
  return std::string(isTemporary ? path.substr(0, end) : "");
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
  std::error_code none;
  const std::string own = std::filesystem::read_symlink(
      "/proc/self/fd/" + std::to_string(file), none);
  return entry != nullptr ? own + "/" + entry : own;
}

bool HasMemory() {
  if (!g_hasBegun || !FailsMemory()) return true;
  char* end = nullptr;
  const long number = std::strtol(Variable("KIVDB_FAIL_AT").data(), &end, 10);
  const bool isPast = *end == '+' && g_allocations >= number;
  if (++g_allocations != number && !isPast) return true;
  errno = ENOMEM;
  return false;
}

__attribute__((destructor)) void TellAllocations() {
  if (Variable("KIVDB_FAIL_AT") == "0") {
    dprintf(STDERR_FILENO, "%ld", g_allocations);
  }
}

}  // namespace

extern "C" {

ssize_t write(int file, const void* bytes, size_t size) {
  // Steps are named by writes, too.
  if (file == STDERR_FILENO) return REAL(write)(file, bytes, size);
  const size_t half = size / 2;
  const char* first = static_cast<const char*>(bytes);
  Step("write", PathOf(file), Hex(first, half).c_str());
  if (IsNext() && REAL(write)(file, bytes, half) < 0) return -1;
  Step("write", PathOf(file), Hex(first + half, size - half).c_str());
  return REAL(write)(file, bytes, size);
}

int fsync(int file) {
  const std::string path = PathOf(file);
  const std::string record = RecordOf(path);
  if (Plants("rename alone") || Plants(record.empty() ? "directory" : "file")) {
    return 0;
  }
  if (Plants("unlink first") && !record.empty()) unlink(record.c_str());
  SyncAtRandom();
  Name("fsync", path);
  if (Variable("KIVDB_SYNC_SEED").empty()) return 0;
  return REAL(fsync)(file);
}

int renameat2(int fromFile, const char* from, int toFile, const char* to,
              unsigned int flags) noexcept {
  if (Plants("in place") && !RecordOf(from).empty()) return 0;
  Step("rename", PathOf(fromFile, from), PathOf(toFile, to).c_str());
  return REAL(renameat2)(fromFile, from, toFile, to, flags);
}

int rename(const char* from, const char* to) noexcept {
  return renameat2(AT_FDCWD, from, AT_FDCWD, to, 0);
}

int unlinkat(int directory, const char* path, int flags) noexcept {
  Step("unlink", PathOf(directory, path));
  return REAL(unlinkat)(directory, path, flags);
}

int unlink(const char* path) noexcept {
  if (Plants("in place") || Plants("rename alone")) return 0;
  return unlinkat(AT_FDCWD, path, 0);
}

int rmdir(const char* path) noexcept {
  return unlinkat(AT_FDCWD, path, AT_REMOVEDIR);
}

int mkdir(const char* path, mode_t mode) noexcept {
  Step("mkdir", path);
  return REAL(mkdir)(path, mode);
}

char* mkdtemp(char* path) noexcept {
  Count();
  char* made = REAL(mkdtemp)(path);
  Name("mkdir", path);
  return made;
}

int openat(int directory, const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  const std::string record = Plants("in place") ? RecordOf(path) : "";
  const char* place = record.empty() ? path : record.c_str();
  const char* how = (flags & O_TRUNC) != 0 ? "truncated" : "";
  if ((flags & (O_CREAT | O_TRUNC)) != 0) {
    Step("open", PathOf(directory, place), how);
  }
  return REAL(openat)(directory, place, flags, mode);
}

int open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  return openat(AT_FDCWD, path, flags, mode);
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
