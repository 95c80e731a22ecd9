// Running an editor.

#include "editor.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>
#include <vector>

#include "descriptor.h"
#include "disk.h"
#include "report.h"
#include "store.h"

namespace tool {
namespace {

// The variable, unless it is empty.
std::string Variable(const char* name, const std::string& fallback) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : fallback;
}

// A new file with the text, of mode 0600.  Empty, with errno set, when it
// cannot be.
std::string WriteTemporary(const std::string& directory,
                           const std::string& text) {
  std::string path = directory + "/kivdb-edit-XXXXXX";
  const CDescriptor file(mkostemp(path.data(), O_CLOEXEC));
  if (!file.isOpen()) return "";
  if (WriteAll(file.get(), text)) return path;
  const int error = errno;
  unlink(path.c_str());
  errno = error;
  return "";
}

std::string TemporaryDirectory() { return Variable("TMPDIR", "/tmp"); }

class CTemporaryFile {
 public:
  explicit CTemporaryFile(const std::string& text)
      : m_path(WriteTemporary(TemporaryDirectory(), text)) {
    if (!m_path.empty()) return;
    EndTrouble(TemporaryDirectory(),
               WithError("cannot write a temporary file", errno));
  }
  ~CTemporaryFile() { unlink(m_path.c_str()); }
  CTemporaryFile(const CTemporaryFile&) = delete;
  CTemporaryFile& operator=(const CTemporaryFile&) = delete;

  const std::string& path() const { return m_path; }

 private:
  std::string m_path;
};

// While it lives, the keys that interrupt are the editor's alone, and what else
// ends the process waits until the temporary file is gone.
class CEditorSignals {
 public:
  CEditorSignals() {
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGINT, &ignore, &m_interrupt);
    sigaction(SIGQUIT, &ignore, &m_quit);
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGTERM);
    sigaddset(&held, SIGHUP);
    sigprocmask(SIG_BLOCK, &held, &m_mask);
  }
  ~CEditorSignals() {
    sigaction(SIGINT, &m_interrupt, nullptr);
    sigaction(SIGQUIT, &m_quit, nullptr);
    sigprocmask(SIG_SETMASK, &m_mask, nullptr);
  }
  CEditorSignals(const CEditorSignals&) = delete;
  CEditorSignals& operator=(const CEditorSignals&) = delete;

  // The editor begins with the signals as they were before.
  void GiveTo(posix_spawnattr_t& attributes) const {
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    if (m_interrupt.sa_handler != SIG_IGN) sigaddset(&defaults, SIGINT);
    if (m_quit.sa_handler != SIG_IGN) sigaddset(&defaults, SIGQUIT);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setsigmask(&attributes, &m_mask);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  }

 private:
  struct sigaction m_interrupt {};
  struct sigaction m_quit {};
  sigset_t m_mask{};
};

// The shell's, so that the variable may hold arguments: as waitpid gives it.
int StatusOf(const std::string& editor, const std::string& path,
             const CEditorSignals& signals) {
  // A shell that waits for an editor must outlive the keys that it handles.
  std::vector<std::string> texts = {
      "sh", "-c", "trap : INT QUIT; " + editor + " \"$1\"", "sh", path};
  std::vector<char*> arguments(texts.size() + 1);  // and a null
  std::transform(texts.begin(), texts.end(), arguments.begin(),
                 [](std::string& text) { return text.data(); });
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  signals.GiveTo(attributes);
  pid_t child = -1;
  const int error = posix_spawn(&child, "/bin/sh", nullptr, &attributes,
                                arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) EndTrouble("", WithError("cannot run a shell", error));
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) EndTrouble("", WithError("cannot wait", errno));
  }
  return status;
}

}  // namespace

std::string RunEditor(const std::string& text) {
  const std::string editor = Variable("VISUAL", Variable("EDITOR", "vi"));
  // Outlives the file: what is held off must find it gone.
  const CEditorSignals signals;
  const CTemporaryFile file(text);
  const int status = StatusOf(editor, file.path(), signals);
  if (WIFSIGNALED(status)) {
    EndTrouble(editor, "ended by signal " + std::to_string(WTERMSIG(status)) +
                           ", nothing is written");
  }
  if (WEXITSTATUS(status) != 0) {
    EndTrouble(editor, "ended with status " +
                           std::to_string(WEXITSTATUS(status)) +
                           ", nothing is written");
  }
  CLine edited = ReadWhole(AT_FDCWD, file.path());
  if (edited.error != 0) {
    EndTrouble(editor, WithError("left no text", edited.error));
  }
  return std::move(edited.text);
}

std::string KeepText(const std::string& text) {
  // The directory of the user may not be the owner's, who writes here.
  std::string path = WriteTemporary(TemporaryDirectory(), text);
  if (path.empty()) path = WriteTemporary("/tmp", text);
  if (!path.empty()) return path;
  EndTrouble("", WithError("cannot keep the edited text", errno));
}

}  // namespace tool
