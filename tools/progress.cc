// The line of progress on standard error.

#include "progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "printable.h"
#include "store.h"

namespace tool {
namespace {

constexpr std::size_t kStepsALook = 16;  // at the clock

std::time_t Seconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec;
}

void Write(const std::string& text) {
  // There is nowhere to say that it failed.
  [[maybe_unused]] const ssize_t written =
      write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

CProgress::CProgress(const CGlobals& globals)
    : m_isShown(!globals.hidesProgress && !globals.isQuiet &&
                std::getenv("NO_COLOR") == nullptr &&
                isatty(STDERR_FILENO) == 1) {}

void CProgress::Begin(const std::string& what, int directory) {
  Erase();
  m_what = Printable(what);
  m_directory = directory;
  m_done = m_total = 0;
  m_next = Seconds() + 2;  // more than one, as these are whole
}

void CProgress::BeginCounted(const std::string& what, std::size_t total) {
  Begin(what, -1);
  m_total = total;
}

void CProgress::Step() {
  if (++m_done % kStepsALook == 0 && m_isShown && Seconds() >= m_next) Show();
}

void CProgress::Show() {
  m_next = Seconds() + 1;
  if (m_total == 0) {
    WalkEntries(m_directory, [this](const dirent& /*entry*/) {
      ++m_total;
      return true;
    });
  }
  Erase();
  const std::string line = m_what + ": " + std::to_string(m_done) + " of " +
                           std::to_string(std::max(m_done, m_total));
  Write(line);
  m_width = WidthOf(line);
}

void CProgress::Erase() {
  if (m_width > 0) Write("\r" + std::string(m_width, ' ') + "\r");
  m_width = 0;
}

}  // namespace tool
