// What an import changes.

#ifndef TOOLS_IMPORT_PLAN_H_
#define TOOLS_IMPORT_PLAN_H_

#include <string>
#include <vector>

#include "change.h"
#include "import/rows.h"

namespace tool {

enum class ImportMode {
  kAdd,      // refuses records that are there
  kReplace,  // or gives them the values of the row, the others empty
  kUpdate,   // or changes the values that the row names, and adds nothing
};

// Checks the rows against the table, which is locked, and takes their values.
// Rows that would write what is there are left out.  Ends the command for a row
// that cannot be written; nothing is written here.
std::vector<CRecordWrite> PlanImport(CChange& change, CInputRows& input,
                                     ImportMode mode);

}  // namespace tool

#endif  // TOOLS_IMPORT_PLAN_H_
