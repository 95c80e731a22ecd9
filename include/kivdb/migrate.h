// Giving a table other columns.

#ifndef KIVDB_MIGRATE_H_
#define KIVDB_MIGRATE_H_

#include <kivdb/export.h>

#include <string>
#include <vector>

namespace KivDB {

class CRemoved;

struct CMigrateOptions {
  bool drops = false;     // values of columns that are not named may go
  bool isDryRun = false;  // refuse what would be refused, change nothing
};

// Gives the table these columns, "name:type,name:type": types are int, bigint
// and varchar, the first column is the id.  A column that is there keeps its
// values wherever it stands now, "old>new:type" renames one, any other is new
// and empty.  Where the table has these columns already nothing is done, so
// that the same call may be made at every start.
//
// Names and types alone are changed in the schema file.  For all else the table
// is built anew in kiv/migrate, exchanged, and the old one moved to
// kiv/removed.  A process that is killed meanwhile leaves the old table or the
// new one, or none while kiv/migrate holds both: FinishMigrations and the next
// migration of any table finish that.
//
// Stop every host that has the table open: it would read and write values by
// the old columns.  The operation holds the locks of the schemas and of the
// table to its end and does not act on a cancellation.
//
// Sets schema, where it is given, to the new schema line.  Returns kOk;
// kSyntax, kUnknownType or kNoColumn for columns that cannot be, kNotEmpty when
// columns would be dropped that options do not allow to drop, kNoSchema,
// kSchemaUnreadable or kNotFound for the table, kBadRecord when it holds
// anything but records that can be read; kInvalid without a lock or when the
// disk fails; kNoMemory.  All are logged, and all but the last two leave
// everything as it was; what these leave is the old table or is finished by the
// next attempt.
//
// removed is where the old table goes, null: to a folder of its own.
KIVDB_EXPORT int MigrateTable(const char* root, const char* table,
                              const char* columns,
                              const CMigrateOptions& options,
                              std::string* schema = nullptr,
                              CRemoved* removed = nullptr);

// Finishes what killed migrations left in kiv/migrate: one that was not in
// force yet is moved to kiv/removed, any other is completed.  Call it before
// the database is opened.
//
// Appends the names of these tables to tables, where that is given.  Returns
// kOk, also when there was nothing; kNotEmpty when records were added in the
// place of a table, which stay; kInvalid, kNoMemory as above.  Logged.
KIVDB_EXPORT int FinishMigrations(const char* root,
                                  std::vector<std::string>* tables = nullptr,
                                  CRemoved* removed = nullptr);

}  // namespace KivDB

#endif  // KIVDB_MIGRATE_H_
