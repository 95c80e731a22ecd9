// Record and schema files, of which the first line counts.

#ifndef CORE_FIRST_LINE_H_
#define CORE_FIRST_LINE_H_

#include <cstddef>

#include "core/text_buffer.h"

namespace KivDB {

enum class ReadResult { kRead, kUnreadable, kMissing };

// Reads the first line of a file, without its line feed, into the empty line.
// path is taken from the open directory when it is relative (AT_FDCWD: from the
// working directory).  The line counts as whole after that many separators
// "|", whatever follows them, so that a file that ends in one is read at once.
//
// Never blocks and never reads without end: what is no regular file and does
// not deliver its line in one read has an empty line.  kMissing when there is
// no such file, kUnreadable when it cannot be opened otherwise or fails while
// it is read: part of a line is never delivered.  Throws std::bad_alloc.
ReadResult ReadFirstLine(int directory, const char* path,
                         std::size_t separators, CTextBuffer& line);

}  // namespace KivDB

#endif  // CORE_FIRST_LINE_H_
