// Running an editor.

#include "editor.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>

#include "descriptor.h"
#include "disk.h"
#include "process.h"
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
  void GiveTo(CProgram& program) const {
    program.held = m_mask;
    sigaddset(&program.defaults, SIGPIPE);
    if (m_interrupt.sa_handler != SIG_IGN) {
      sigaddset(&program.defaults, SIGINT);
    }
    if (m_quit.sa_handler != SIG_IGN) sigaddset(&program.defaults, SIGQUIT);
  }

 private:
  struct sigaction m_interrupt {};
  struct sigaction m_quit {};
  sigset_t m_mask{};
};

// The shell's, so that the variable may hold arguments: as waitpid gives it.
int StatusOf(const std::string& editor, const std::string& path,
             const CEditorSignals& signals) {
  CProgram program;
  // A shell that waits for an editor must outlive the keys that it handles.
  program.words = {"/bin/sh", "-c", "trap : INT QUIT; " + editor + " \"$1\"",
                   "sh", path};
  signals.GiveTo(program);
  int status = 0;
  const int error = RunProgram(program, status);
  if (error != 0) EndTrouble("", WithError("cannot run a shell", error));
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
