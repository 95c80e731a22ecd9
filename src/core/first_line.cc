// Reading record and schema files: the one place that opens them.

#include "core/first_line.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/descriptor.h"
#include "core/format.h"

namespace KivDB {
namespace {

constexpr int kFlags = O_RDONLY | O_NONBLOCK | O_NOCTTY;

bool IsRegular(int fd) {
  struct stat status;
  return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

// Takes length bytes that were read behind the line.  True when the line is
// whole; separators counts down what is still missing.
bool TakeBytes(std::size_t length, std::size_t& separators, CTextBuffer& line) {
  const char* bytes = line.data() + line.size();
  const void* feed = std::memchr(bytes, '\n', length);
  if (feed != nullptr) {
    length = static_cast<std::size_t>(static_cast<const char*>(feed) - bytes);
  }
  line.Resize(line.size() + length);

  const char* const end = bytes + length;
  while (separators > 0) {
    const void* found =
        std::memchr(bytes, kSeparator, static_cast<std::size_t>(end - bytes));
    if (found == nullptr) break;
    bytes = static_cast<const char*>(found) + 1;
    --separators;
  }
  return feed != nullptr || separators == 0;
}

}  // namespace

ReadResult ReadFirstLine(int directory, const char* path,
                         std::size_t separators, CTextBuffer& line) {
  const CDescriptor file(directory, path, kFlags);
  if (!file.IsOpen()) {
    return errno == ENOENT ? ReadResult::kMissing : ReadResult::kUnreadable;
  }
  for (bool isFirst = true;; isFirst = false) {
    line.Reserve(1);
    ssize_t length;
    do {
      length = read(file.Get(), line.data() + line.size(), line.room());
    } while (length < 0 && errno == EINTR);
    if (length < 0) {
      const bool isOdd = errno == EISDIR || errno == EAGAIN;
      return isFirst && isOdd ? ReadResult::kRead : ReadResult::kUnreadable;
    }
    if (length == 0) return ReadResult::kRead;
    if (TakeBytes(static_cast<std::size_t>(length), separators, line)) {
      return ReadResult::kRead;
    }
    if (isFirst && !IsRegular(file.Get())) {
      line.Resize(0);
      return ReadResult::kRead;
    }
  }
}

}  // namespace KivDB
