// Waiting for a change of another process, but not for long.

#include "patient_lock.h"

#include <sys/file.h>

#include <cerrno>
#include <ctime>
#include <utility>

namespace tool {
namespace {

constexpr int kPatience = 100;  // milliseconds

}  // namespace

CPatientLock::CPatientLock(int directory, bool isWanted)
    : m_directory(directory) {
  if (!isWanted) return;
  const timespec pause{0, 1'000'000};
  for (int i = 0; i < kPatience; ++i) {
    m_isHeld = flock(directory, LOCK_SH | LOCK_NB) == 0;
    if (m_isHeld || errno != EWOULDBLOCK) return;
    nanosleep(&pause, nullptr);
  }
}

void CPatientLock::Release() {
  if (std::exchange(m_isHeld, false)) flock(m_directory, LOCK_UN);
}

}  // namespace tool
