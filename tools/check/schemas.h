// Checking the set of tables: schemas and table directories.

#ifndef TOOLS_CHECK_SCHEMAS_H_
#define TOOLS_CHECK_SCHEMAS_H_

#include <string>

#include "check/run.h"

namespace tool {

// Reports what is wrong with a table but for its entries.
void CheckSchema(CCheckRun& run, const std::string& table);

}  // namespace tool

#endif  // TOOLS_CHECK_SCHEMAS_H_
