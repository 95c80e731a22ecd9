// Short pauses while the other is likely to be done soon.

#include "base/lock_wait.h"

#include <time.h>

#include <algorithm>

namespace KivDB {
namespace {

constexpr long long kMillisecond = 1'000'000;
constexpr long long kShortest = kMillisecond / 10;
constexpr long long kLongest = kMillisecond;
constexpr long long kHasty = kMillisecond / 100;
constexpr long long kShare = 256;  // of the time waited so far

long long Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1000 * kMillisecond + now.tv_nsec;
}

}  // namespace

bool CLockWait::Pause() {
  const long long now = Now();
  if (m_begin < 0) m_begin = now;
  const long long left = m_begin + m_limit * kMillisecond - now;
  if (left <= 0) return false;
  const long long longer =
      std::clamp((now - m_begin) / kShare, kShortest, kLongest);
  const long long pause = m_isHasty ? kHasty : longer;
  timespec time{};
  time.tv_nsec = static_cast<long>(std::min(pause, left));
  nanosleep(&time, nullptr);
  return true;
}

}  // namespace KivDB
