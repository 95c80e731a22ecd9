// Log lines: one statement for a failure and its line.

#ifndef CORE_LOG_H_
#define CORE_LOG_H_

#include "base/cancellation.h"
#include "zel.h"

// The texts of the lines are part of the interface, spelling included: hosts
// and administrators look for them.
//
// These are macros so that the compiler checks the format.  The temporary holds
// cancellation off until the line is out: writing one is a cancellation point.
#define KIVDB_HELD(call) \
  (static_cast<void>(::KivDB::CCancellationHold()), (call))

#define KIVDB_ERROR(code, ...) KIVDB_HELD(ErrorA((code), __VA_ARGS__))
#define KIVDB_INFO(code, ...) KIVDB_HELD(InfoA((code), __VA_ARGS__))
#define KIVDB_TRACE(...) \
  (TraceOn() ? KIVDB_HELD(__Trace(__VA_ARGS__)) : static_cast<void>(0))

// Logs the error line and gives its code, which is evaluated twice.
#define KIVDB_FAIL(code, ...) (KIVDB_ERROR(code, __VA_ARGS__), (code))

#endif  // CORE_LOG_H_
