// Calls of the system that a test replaces in its program.

#ifndef TESTS_REPLACED_CALLS_H_
#define TESTS_REPLACED_CALLS_H_

namespace KivDB {

enum class Action { kNone, kCancel, kExit, kFailMemory };

// What the replaced calls of this thread do.
struct Plan {
  const char* failing = nullptr;  // the call that fails; null: none
  int error = 0;                  // with this error
  Action action = Action::kNone;  // taken from the call with this number on
  int at = 0;
  int calls = 0;  // so far
};
inline thread_local Plan plan;

}  // namespace KivDB

#endif  // TESTS_REPLACED_CALLS_H_
