// The border of the operations that change the set of tables as a whole.

#ifndef UPGRADE_WITH_SCHEMAS_H_
#define UPGRADE_WITH_SCHEMAS_H_

#include <kivdb/removed.h>

#include "base/cancellation.h"
#include "core/locked.h"
#include "core/no_throw.h"
#include "core/path.h"

namespace KivDB {

// Runs body, which gives a status, with the schemas of the root locked, unless
// it only looks.  It is given the folder for what is moved away, removed or one
// of its own.  Held up in the middle it would leave work to the next run, so
// that a cancellation waits.
template <typename Body>
int WithSchemas(const char* root, bool locks, CRemoved* removed, Body body) {
  const CCancellationHold hold;
  return NoThrow([&]() -> int {
    CRemoved own(root);
    CFileLock lock;
    const CPath schemas(root, kSchemaDirectory);
    if (locks && TakeLock(lock, schemas.text()) == LockResult::kFailed) {
      return kInvalid;
    }
    return body(removed != nullptr ? *removed : own);
  });
}

}  // namespace KivDB

#endif  // UPGRADE_WITH_SCHEMAS_H_
