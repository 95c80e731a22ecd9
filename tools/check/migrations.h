// Migrations that were killed.

#ifndef TOOLS_CHECK_MIGRATIONS_H_
#define TOOLS_CHECK_MIGRATIONS_H_

#include "check/run.h"

namespace tool {

// Finds them, and finishes them where the run repairs.
void CheckMigrations(CCheckRun& run);

}  // namespace tool

#endif  // TOOLS_CHECK_MIGRATIONS_H_
