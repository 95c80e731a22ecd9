// The border that no exception crosses.

#ifndef CORE_NO_THROW_H_
#define CORE_NO_THROW_H_

#include <kivdb/status.h>

#include <exception>

#include "core/log.h"

namespace KivDB {

// Gives body's result, or failure, with its line, when body runs out of memory,
// the one exception that the library's own calls can throw.  The unwinding of a
// cancelled thread is no std::exception and passes.
template <typename Result, typename Body>
Result NoThrow(Result failure, Body body) {
  try {
    return body();
  } catch (const std::exception&) {
    KIVDB_ERROR(kNoMemory, "no memory");
    return failure;
  }
}

}  // namespace KivDB

#endif  // CORE_NO_THROW_H_
