// Bringing a database up to what a new release ships, without losing what its
// owner changed.

#ifndef KIVDB_UPGRADE_H_
#define KIVDB_UPGRADE_H_

#include <kivdb/export.h>

#include <string>
#include <vector>

namespace KivDB {

struct CUpgradeOptions {
  // The creation file that the database was made from.  Needed once, where
  // there is no kiv/base.ini, and refused where there is one; null: none.
  const char* base = nullptr;

  // What {{$kivid}} and {{$kivhost}} stand for, where kiv/base.ini does not
  // tell; 0 and null: unknown.
  int id = 0;
  const char* host = nullptr;

  bool prunes = false;    // delete unchanged records that are shipped no more
  bool isDryRun = false;  // give the steps, change nothing
};

// One thing that an upgrade did, or did not do and why.
struct CUpgradeStep {
  enum Kind {
    kTableAdded,
    kColumnAdded,    // column, and its type in now
    kRecordAdded,    // columns and values
    kRecordDeleted,  // columns and values
    kValueChanged,   // column: here became now

    // The owner's stays.
    kValueKept,   // column: shipped was the old default, now is the new one
    kRecordKept,  // shipped no more, but changed here
    kIdTaken,     // a shipped record has the id of one that the owner made

    // To be repaired first; the next upgrade tries again.
    kUnreadable,   // the record's file is damaged
    kInterrupted,  // only the temporary file of a save is there
  };
  Kind kind;
  std::string table;
  std::string id;
  std::string column;
  std::string shipped;
  std::string now;
  std::string here;
  std::vector<std::string> columns;  // behind the id
  std::vector<std::string> values;
};

// Whether the step leaves something to the owner.
inline bool IsConflict(const CUpgradeStep& step) {
  return step.kind >= CUpgradeStep::kValueKept;
}

// Merges the creation file shipped into the database at root, three-way, by
// record and by value: what shipped changes against the base is taken over
// wherever the owner still has what the base says.  What the owner changed,
// added or deleted stays so.  New tables and new columns at the end are added.
// At last what was delivered is kept as kiv/base.ini, the next base.
//
// Run it at every start of a host, before the database is opened: where there
// is nothing to do it changes nothing.  Killed at any point and run again it
// ends the same.  It finishes migrations that were killed, holds the lock of
// the schemas to its end and the lock of each table while it changes that, and
// does not act on a cancellation.
//
// Sets steps to what was done, by table and id.  Returns kOk when all that is
// not the owner's decision is done; kNoSchemaDirectory for a root without a
// database; kNoRecord, kSyntax or kNoReplacement for a file that is no creation
// file; kNotEmpty for a directory without a schema that stands in the place of
// a new table; kSyntax also when columns were moved, renamed, removed or given
// another type: the line names the migration to run first; kInvalid when a base
// is not to be given, an id and a host are missing, a lock is not had or the
// disk fails; kNoMemory; the codes of MigrateTable.  All are logged.
KIVDB_EXPORT int Upgrade(const char* root, const char* shipped,
                         const CUpgradeOptions& options,
                         std::vector<CUpgradeStep>& steps);

}  // namespace KivDB

#endif  // KIVDB_UPGRADE_H_
