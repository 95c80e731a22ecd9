// Writing to standard output.

#include "output.h"

#include <unistd.h>

#include <cerrno>
#include <string>

#include "disk.h"

namespace tool {
namespace {

constexpr std::size_t kGathered = std::size_t{64} * 1024;

}  // namespace

void COutput::Write(std::string_view text) {
  if (m_isClosed && !text.empty()) m_error = EBADF;
  if (IsBroken()) return;
  m_text += text;
  if (!m_isHeld && m_text.size() >= kGathered) Flush();
}

void COutput::Flush() {
  if (m_isHeld) return;
  if (!IsBroken() && !WriteAll(STDOUT_FILENO, m_text)) m_error = errno;
  m_text.clear();
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
