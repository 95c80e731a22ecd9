// The border that no exception crosses.

#ifndef CORE_NO_THROW_H_
#define CORE_NO_THROW_H_

#include <kivdb/status.h>

#include <exception>

#include "core/log.h"

namespace KivDB {

// What an operation without a line of its own says and gives.
inline int NoMemory() { return KIVDB_FAIL(kNoMemory, "no memory"); }

// Gives body's result, or failure's when body runs out of memory, the one
// exception that the library's own calls can throw.  Every public operation
// that needs memory has this border, around its locked span.  The unwinding of
// a cancelled thread is no std::exception and passes.
template <typename Result = int, typename Body, typename Failure = int (*)()>
Result NoThrow(Body body, Failure failure = NoMemory) {
  try {
    return body();
  } catch (const std::exception&) {
    return failure();
  }
}

}  // namespace KivDB

#endif  // CORE_NO_THROW_H_
