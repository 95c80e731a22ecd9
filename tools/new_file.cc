// Temporary names, and the signals that must not leave them.

#include "new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "disk.h"
#include "report.h"

namespace tool {
namespace {

std::atomic<const char*> temporary = nullptr;

extern "C" void RemoveAndEnd(int signal) {
  const char* const path = temporary;
  if (path != nullptr) unlink(path);
  raise(signal);  // ends the process when the handler returns
}

// A signal that is ignored stays so.
void RemoveAtSignals() {
  for (const int signal : kEndingSignals) {
    struct sigaction before {};
    struct sigaction action {};
    action.sa_handler = RemoveAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(signal, nullptr, &before);
    if (before.sa_handler == SIG_DFL) sigaction(signal, &action, nullptr);
  }
}

}  // namespace

CNewFile::CNewFile(std::string path) : m_path(std::move(path)) {
  struct stat status {};
  const bool isThere = lstat(m_path.c_str(), &status) == 0;
  if (!isThere && errno != ENOENT) {
    EndTrouble(m_path, WithError("cannot write", errno));
  }
  if (isThere && !S_ISREG(status.st_mode)) {
    EndTrouble(m_path, "no regular file");
  }
  m_temporary = m_path + ".tmp-XXXXXX";
  const CSignalHold hold;
  m_file = CDescriptor(mkostemp(m_temporary.data(), O_CLOEXEC));
  if (!m_file.isOpen()) EndTrouble(m_path, WithError("cannot write", errno));
  temporary = m_temporary.c_str();
  RemoveAtSignals();
}

CNewFile::~CNewFile() {
  if (!m_isPut) unlink(m_temporary.c_str());
  temporary = nullptr;
}

void CNewFile::Sync() const {
  if (fchmod(get(), 0600) != 0 || fsync(get()) != 0) {
    EndTrouble(m_path, WithError("cannot force to disk", errno));
  }
  posix_fadvise(get(), 0, 0, POSIX_FADV_DONTNEED);
}

void CNewFile::Put() {
  const CSignalHold hold;
  if (rename(m_temporary.c_str(), m_path.c_str()) != 0) {
    EndTrouble(m_path, WithError("cannot write", errno));
  }
  m_isPut = true;
  temporary = nullptr;
  SyncDirectory(ParentOf(m_path));
}

}  // namespace tool
