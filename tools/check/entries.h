// Checking the entries of a table.

#ifndef TOOLS_CHECK_ENTRIES_H_
#define TOOLS_CHECK_ENTRIES_H_

#include <string>

#include "check/run.h"

namespace tool {

// Looks at every entry once; a repair locks the table meanwhile.  Asks what is
// to be asked when it is unlocked again.
void CheckEntries(CCheckRun& run, const std::string& table);

}  // namespace tool

#endif  // TOOLS_CHECK_ENTRIES_H_
