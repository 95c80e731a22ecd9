// What the processes of a stress run share: a state, and what they count.

#ifndef BENCH_STRESS_BOARD_H_
#define BENCH_STRESS_BOARD_H_

#include <sys/mman.h>

#include <atomic>
#include <cstdio>
#include <new>
#include <string>

#include "fixture.h"
#include "zel_control.h"

namespace bench {

// The faults begin with kLost.
enum Count {
  kAcknowledged,
  kKills,
  kRenamed,
  kRemoved,
  kJudged,
  kLost,
  kTwice,
  kTemporary,
  kMissed,
  kRepeated,
  kMiscounted,
  kUnguarded,
  kDied,
  kFailed,  // and one for each status
  kCounts = kFailed + 32
};
constexpr const char* kCountNames[] = {"changes acknowledged",
                                       "kills",
                                       "repairs that renamed N.tmp to N",
                                       "repairs that removed N.tmp",
                                       "listings judged",
                                       "lost changes",
                                       "ids given twice",
                                       "rows N.tmp seen",
                                       "shared records missed",
                                       "shared records listed twice",
                                       "wrong counts of records",
                                       "repairs disturbed under the lock",
                                       "processes ended by themselves"};

inline std::string NameOf(int count) {
  if (count < kFailed) return kCountNames[count];
  return "failed operations with status " + std::to_string(count - kFailed);
}

inline thread_local char last_error[256] = "none";

inline void KeepError(ZelLevel level, int /*code*/, const char* text) {
  if (level != ZelLevel::kError) return;
  std::snprintf(last_error, sizeof(last_error), "%s", text);
}

struct CBoard {
  std::atomic<unsigned int> epoch;  // odd until what a kill left is repaired
  std::atomic<bool> stops;
  std::atomic<long> counts[kCounts];

  // In shared memory that lasts as long as the processes.
  static CBoard& Make() {
    void* memory = mmap(nullptr, sizeof(CBoard), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Require(memory != MAP_FAILED, "no shared memory");
    return *new (memory) CBoard{};
  }

  bool IsCleanSince(unsigned int start) const {
    return start % 2 == 0 && epoch == start;
  }

  // Counts a fault, and shows the first of its kind.
  void Report(int fault, int id) {
    constexpr int kMostShown = 5;
    if (++counts[fault] > kMostShown) return;
    std::fprintf(stderr, "%s: record %i (last error: %s)\n",
                 NameOf(fault).c_str(), id, last_error);
  }
  void Fail(int status, int id) { Report(kFailed + status, id); }

  // Prints all; true when there was no fault.
  bool Summarize() const {
    long faults = 0;
    for (int i = 0; i < kCounts; ++i) {
      const long count = counts[i];
      if (i >= kLost) faults += count;
      if (i >= kFailed && count == 0) continue;
      std::printf("%9li %s\n", count, NameOf(i).c_str());
    }
    std::printf("%9li faults\n", faults);
    return faults == 0;
  }
};

}  // namespace bench

#endif  // BENCH_STRESS_BOARD_H_
