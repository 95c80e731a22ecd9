// Taking all records from a table.

#ifndef TOOLS_EMPTYING_H_
#define TOOLS_EMPTYING_H_

#include <string>

#include "commands.h"
#include "difference.h"
#include "store.h"

namespace tool {

// Prints these records as removed; one that cannot be read is noted.
void ForetellRemoval(const CContext& context, const CTableReader& table,
                     const Texts& ids, CDifferences& differences);

// Prints what a dry run foretells of the records of a table.
void ForetellEmptying(const CContext& context, const CTableReader& table,
                      bool isDropped);

// Whether the records may go; false where there are none.  Ends the command
// where they may not.
bool RequireEmptying(const CContext& context, const CTableReader& table,
                     const CDropOptions& options, bool isAlwaysAsked);

}  // namespace tool

#endif  // TOOLS_EMPTYING_H_
