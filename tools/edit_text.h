// A record as a text to edit.

#ifndef TOOLS_EDIT_TEXT_H_
#define TOOLS_EDIT_TEXT_H_

#include <string>
#include <vector>

#include "arguments.h"
#include "store.h"

namespace tool {

// Comments that say what to do, and a line "column = value" for each column,
// the id first, the values escaped.
std::string EditText(const CTableReader& table, const CRecord& record);

// What an edited text makes of the record.
struct CEdited {
  std::vector<CAssignment> changed;
  std::string fault;  // "line 3: what is wrong", or empty
};

// A value whose line is missing stays.
CEdited ParseEdited(const CTableReader& table, const CRecord& record,
                    const std::string& text);

}  // namespace tool

#endif  // TOOLS_EDIT_TEXT_H_
