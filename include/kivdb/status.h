// Status codes of the library's operations.

#ifndef KIVDB_STATUS_H_
#define KIVDB_STATUS_H_

#include <kivdb/export.h>

namespace KivDB {

// What an operation returns as its int result.  A failure has been logged by
// the operation that met it where the operation's comment says so, and the log
// line carries the same code.  Three lines carry another one: "open table
// error" of AddTable has 0; "table %s does not exist" of DropTable, which
// returns kNotFound, has kNotEmpty; "can't find column by key [%s]" of
// GetValStr, which returns kNoColumn, has -1.
enum Status : int {
  kOk = 0,
  kUnknownType = 1,         // a column type that is no keyword
  kNoType = 2,              // a column spec without "["
  kNoSchema = 3,            // a table's schema file is missing
  kSchemaUnreadable = 4,    // a schema file cannot be read or written
  kEmptySchema = 5,         // a schema file's first line is empty
  kNotFound = 7,            // no such table directory, record or table
  kRecordUnreadable = 8,    // a record file cannot be opened or read
  kNoSchemaDirectory = 10,  // the root holds no database that can be opened
  kSyntax = 11,             // wrong field count, malformed update or columns
  kNoRecord = 12,           // no (further) record matches; no such ini value
  kNoColumn = 13,           // no column of that name
  kNotEmpty = 14,           // a table to be dropped holds records
  kIdAboveMaximum = 15,     // the next record id is above the given maximum
  kBadRecord = 16,          // a record file's content is unusable
  kNotClearable = 17,  // the directory of a table to clear cannot be opened
  kNoMemory = 18,
  kNoReplacement = 19,  // a placeholder cannot be replaced
  kInvalid = 20,        // no mutex or lock, bad argument or value, failed save
};

// A few words for people: "no such record" for kNoRecord, "failed" for -1,
// "unknown status" for what is none.  Never null.  From any thread.
KIVDB_EXPORT const char* StatusText(int status);

}  // namespace KivDB

#endif  // KIVDB_STATUS_H_
