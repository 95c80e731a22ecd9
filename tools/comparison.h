// Comparing two sides: by the names of tables, ids and columns, by value.

#ifndef TOOLS_COMPARISON_H_
#define TOOLS_COMPARISON_H_

#include "context.h"
#include "side.h"

namespace tool {

// Prints what differs, '-' for what is only here and '+' for what is only in
// the other.  What cannot be read is named.  Whether there is a difference.
bool PrintDifferences(const CContext& context, const CSide& here,
                      const CSide& other);

}  // namespace tool

#endif  // TOOLS_COMPARISON_H_
