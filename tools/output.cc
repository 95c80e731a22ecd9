// Writing to standard output.

#include "output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <iterator>
#include <string>

namespace tool {
namespace {

constexpr std::size_t kGathered = std::size_t{64} * 1024;

}  // namespace

void COutput::Stream(int stop) {
  m_isHeld = false;
  m_stop = stop;
}

void COutput::Write(std::string_view text) {
  if (m_isClosed && !text.empty()) m_error = EBADF;
  if (IsBroken()) return;
  m_text += text;
  if (!m_isHeld && m_text.size() >= kGathered) Flush();
}

void COutput::Flush() {
  if (m_isHeld) return;
  std::string_view rest = m_text;
  while (!rest.empty() && !IsBroken() && WaitForReader()) {
    // A pipe that is not full takes so much at once.
    const std::size_t size =
        m_stop < 0 ? rest.size() : std::min(rest.size(), std::size_t{PIPE_BUF});
    const ssize_t written = write(STDOUT_FILENO, rest.data(), size);
    if (written > 0) rest.remove_prefix(static_cast<std::size_t>(written));
    if (written < 0 && errno != EINTR) m_error = errno;
  }
  m_text.clear();
}

// False when there is no more waiting.
bool COutput::WaitForReader() const {
  if (m_stop < 0) return true;
  pollfd files[] = {{STDOUT_FILENO, POLLOUT, 0}, {m_stop, POLLIN, 0}};
  while (poll(files, std::size(files), -1) < 0 && errno == EINTR) {
  }
  return files[0].revents != 0;
}

bool COutput::IsTerminal() const { return isatty(STDOUT_FILENO) == 1; }

void COutput::Finish(CReport& report) {
  if (m_isHeld && report.verdict() == Verdict::kNo) m_text.clear();
  m_isHeld = false;
  Flush();
  if (!IsBroken()) return;
  if (m_error == EPIPE) {
    report.Raise(Verdict::kTrouble);
  } else {
    report.Trouble("standard output", WithError("cannot write", m_error));
  }
}

}  // namespace tool
