// Reading a database for an archive, beside a running host.

#ifndef TOOLS_ARCHIVE_PACKING_H_
#define TOOLS_ARCHIVE_PACKING_H_

#include <string>

#include "archive/writer.h"
#include "context.h"

namespace tool {

// What is below kiv, but not an archive's: what was moved away, the work of a
// moment, and what belongs to the file system.
bool IsLeftOut(const std::string& name);

// Writes all that is below kiv of the root, each table as it is at one moment.
// What is neither a directory nor a regular file is named and left out.  Ends
// the command where a table cannot be locked or read, or has an unfinished
// migration.  False where standard output takes no more.
bool Pack(const CContext& context, CArchiveWriter& archive);

}  // namespace tool

#endif  // TOOLS_ARCHIVE_PACKING_H_
