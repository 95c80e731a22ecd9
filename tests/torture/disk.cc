// Serves a file as a disk, and keeps what is written to it:
//
//   kivdb_disk IMAGE LOG -f -s DIRECTORY
//
// DIRECTORY/disk has the content of IMAGE and takes all changes to it.  Each is
// in LOG before it is answered: two 64-bit numbers, the place and the size, and
// the bytes written.  A flush has none.

#define FUSE_USE_VERSION 31

#include <fcntl.h>
#include <fuse.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {

constexpr char kName[] = "/disk";

int g_image = -1;
int g_log = -1;

int Status(bool isDone) { return isDone ? 0 : -errno; }

bool Append(const void* bytes, std::size_t size) {
  return write(g_log, bytes, size) == static_cast<ssize_t>(size);
}

bool Keep(off_t place, const char* bytes, std::size_t size) {
  const std::array<std::uint64_t, 2> head{static_cast<std::uint64_t>(place),
                                          size};
  return Append(head.data(), sizeof(head)) && Append(bytes, size);
}

int GetAttributes(const char* path, struct stat* status,
                  fuse_file_info* /*file*/) {
  if (std::strcmp(path, kName) == 0) return Status(fstat(g_image, status) == 0);
  if (std::strcmp(path, "/") != 0) return -ENOENT;
  status->st_mode = S_IFDIR | S_IRWXU;
  status->st_nlink = 2;
  return 0;
}

// Nothing of it in the page cache, so that no write is put off.
int Open(const char* /*path*/, fuse_file_info* file) {
  file->direct_io = 1;
  return 0;
}

int Read(const char* /*path*/, char* bytes, std::size_t size, off_t place,
         fuse_file_info* /*file*/) {
  const ssize_t got = pread(g_image, bytes, size, place);
  return got < 0 ? -errno : static_cast<int>(got);
}

int Write(const char* /*path*/, const char* bytes, std::size_t size,
          off_t place, fuse_file_info* /*file*/) {
  const bool isDone =
      pwrite(g_image, bytes, size, place) == static_cast<ssize_t>(size) &&
      Keep(place, bytes, size);
  return isDone ? static_cast<int>(size) : -EIO;
}

int Flush(const char* /*path*/, int /*isDataAlone*/, fuse_file_info* /*file*/) {
  return Keep(0, nullptr, 0) ? 0 : -EIO;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 1;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  g_image = open(argv[1], O_RDWR | O_CLOEXEC);
  g_log = open(argv[2], O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, S_IRUSR);
  if (g_image < 0 || g_log < 0) return 1;
  // It must not wait for memory that is freed by writing to this disk.
  mlockall(MCL_CURRENT | MCL_FUTURE);
  fuse_operations operations{};
  operations.getattr = GetAttributes;
  operations.open = Open;
  operations.read = Read;
  operations.write = Write;
  operations.fsync = Flush;
  return fuse_main(argc - 2, argv + 2, &operations, nullptr);
}
