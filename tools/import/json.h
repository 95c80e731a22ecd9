// JSON as rows.

#ifndef TOOLS_IMPORT_JSON_H_
#define TOOLS_IMPORT_JSON_H_

#include <string_view>

#include "import/rows.h"

namespace tool {

// An array of objects, or one object.
void ReadJson(std::string_view text, CInputRows& rows);

// An object a line; blank lines are skipped.
void ReadJsonLines(std::string_view text, CInputRows& rows);

}  // namespace tool

#endif  // TOOLS_IMPORT_JSON_H_
