// CSV as rows.

#ifndef TOOLS_IMPORT_CSV_H_
#define TOOLS_IMPORT_CSV_H_

#include <string_view>

#include "import/rows.h"

namespace tool {

// The first line names the columns.  Blanks belong to the cells; a line without
// any cell is skipped.
void ReadCsv(std::string_view text, CInputRows& rows);

}  // namespace tool

#endif  // TOOLS_IMPORT_CSV_H_
