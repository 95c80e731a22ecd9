// Reading files and standard input.

#include "input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

#include "report.h"

namespace tool {
namespace {

constexpr std::size_t kPiece = std::size_t{64} * 1024;

bool IsStandardInput(const std::string& file) {
  return file.empty() || file == "-";
}

}  // namespace

// Opened for waiting: a FIFO may have no writer yet.
CDescriptor OpenInput(const std::string& file) {
  const bool isStandard = IsStandardInput(file);
  CDescriptor input(isStandard
                        ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                        : open(file.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (!input.isOpen() || fstat(input.get(), &status) != 0) {
    EndTrouble(InputName(file), WithError("cannot open", errno));
  }
  if (!isStandard && !S_ISREG(status.st_mode) && !S_ISFIFO(status.st_mode)) {
    EndTrouble(file, "no regular file");
  }
  return input;
}

std::string ReadInput(const std::string& file) {
  const CDescriptor input = OpenInput(file);
  std::string text;
  for (;;) {
    const std::size_t old = text.size();
    text.resize(old + kPiece);
    const ssize_t length = read(input.get(), text.data() + old, kPiece);
    const int error = length < 0 ? errno : 0;
    text.resize(old + static_cast<std::size_t>(std::max(length, ssize_t{0})));
    if (length == 0) return text;
    if (error != 0 && error != EINTR) {
      EndTrouble(InputName(file), WithError("cannot read", error));
    }
  }
}

std::string InputName(const std::string& file) {
  return IsStandardInput(file) ? "standard input" : file;
}

std::string_view WithoutByteOrderMark(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    text.remove_prefix(kByteOrderMark.size());
  }
  return text;
}

}  // namespace tool
