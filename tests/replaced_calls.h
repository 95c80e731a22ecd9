// Calls of the system and the platform that a test replaces in its program.

#ifndef TESTS_REPLACED_CALLS_H_
#define TESTS_REPLACED_CALLS_H_

#include <unistd.h>

#include <climits>
#include <cstdlib>

namespace KivDB {

// There, nothing waits for a disk.
inline const bool kIsInMemory =
    access("/dev/shm", W_OK) == 0 && setenv("TMPDIR", "/dev/shm", 1) == 0;

enum class Action { kNone, kCancel, kFail, kFailMemory };

// What the replaced calls of this thread do.
struct Plan {
  const char* failing = nullptr;  // the call that fails; null: none
  int error = 0;                  // with this error, or giving this
  int pass = 0;                   // after so many that do not
  int fails = INT_MAX;            // so many times
  Action action = Action::kNone;  // taken from the call with this number on
  int at = 0;
  void (*hook)() = nullptr;  // instead of failing, called before the call
  int calls = 0;             // so far
  int inherited = 0;       // calls with a descriptor that exec would keep open
  char synced[8192] = {};  // what was forced to disk, a line each
};
inline thread_local Plan plan;

inline void Fail(const char* call, int error, int pass = 0,
                 int fails = INT_MAX) {
  plan = Plan();
  plan.failing = call;
  plan.error = error;
  plan.pass = pass;
  plan.fails = fails;
}

inline void StopAt(Action action, int at, int error = 0, int fails = INT_MAX) {
  plan = Plan();
  plan.action = action;
  plan.at = at;
  plan.error = error;
  plan.fails = fails;
}

}  // namespace KivDB

#endif  // TESTS_REPLACED_CALLS_H_
