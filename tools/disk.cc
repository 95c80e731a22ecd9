// Syncs and signals.

#include "disk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>

#include "descriptor.h"
#include "report.h"

namespace tool {
namespace {

void Sync(const std::string& path, int flags) {
  const CDescriptor file(open(path.c_str(), flags | O_RDONLY | O_CLOEXEC));
  if (file.isOpen() && fsync(file.get()) == 0) return;
  EndTrouble(path, WithError("cannot force to disk", errno));
}

// With errno set when it fails.
bool WriteNew(const std::string& path, std::string_view content, mode_t mode) {
  constexpr int kFlags =
      O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  const CDescriptor file(open(path.c_str(), kFlags, mode));
  return file.isOpen() && WriteAll(file.get(), content) &&
         fsync(file.get()) == 0;
}

}  // namespace

std::string ParentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == path.npos) return ".";
  const std::size_t last = path.find_last_not_of('/', slash);
  return last == path.npos ? "/" : path.substr(0, last + 1);
}

void SyncDirectory(const std::string& path) { Sync(path, O_DIRECTORY); }

void SyncFile(const std::string& path) { Sync(path, O_NOFOLLOW | O_NONBLOCK); }

bool WriteAll(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool RenameNew(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(),
                RENAME_NOREPLACE) == 0) {
    return true;
  }
  if (errno != EINVAL && errno != ENOSYS) return false;
  struct stat status {};
  if (lstat(to.c_str(), &status) == 0) errno = EEXIST;
  return errno != EEXIST && rename(from.c_str(), to.c_str()) == 0;
}

void ReplaceFile(const std::string& path, std::string_view content,
                 mode_t mode) {
  const std::string temporary = path + ".tmp";
  if (!WriteNew(temporary, content, mode) ||
      rename(temporary.c_str(), path.c_str()) != 0) {
    const int error = errno;
    unlink(temporary.c_str());
    EndTrouble(path, WithError("cannot write", error));
  }
  const std::size_t slash = path.rfind('/');
  SyncDirectory(slash == path.npos ? "." : path.substr(0, slash + 1));
}

sigset_t EndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : kEndingSignals) sigaddset(&signals, signal);
  return signals;
}

CSignalHold::CSignalHold() {
  const sigset_t held = EndSignals();
  sigprocmask(SIG_BLOCK, &held, &m_before);
}

CSignalHold::~CSignalHold() { sigprocmask(SIG_SETMASK, &m_before, nullptr); }

bool CSignalHold::IsPending() const {
  sigset_t pending;
  sigpending(&pending);
  return std::any_of(std::begin(kEndingSignals), std::end(kEndingSignals),
                     [&](int signal) {
                       // One that is ignored waits, too.
                       struct sigaction action {};
                       return sigismember(&pending, signal) == 1 &&
                              sigismember(&m_before, signal) == 0 &&
                              sigaction(signal, nullptr, &action) == 0 &&
                              action.sa_handler != SIG_IGN;
                     });
}

}  // namespace tool
