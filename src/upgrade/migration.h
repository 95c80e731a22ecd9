// The steps of a migration, of which a killed process may leave any.
//
// kiv/migrate/T/new and kiv/migrate/T/schema are built first.  The rename of
// the table directory to kiv/migrate/T/old is the point from which on it is
// finished, not given up.

#ifndef UPGRADE_MIGRATION_H_
#define UPGRADE_MIGRATION_H_

#include <kivdb/removed.h>
#include <sys/stat.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "upgrade/columns.h"

namespace KivDB {

// The stored values of a record behind the id, without separators.
using CStored = std::vector<std::string>;

// As the line of a record file.
std::string StoredLine(const CStored& values);

// Reads them, count of them.  kNotFound, kRecordUnreadable or kBadRecord,
// without a line, for a record that is not there or that cannot be read.
int ReadStored(const std::string& path, std::size_t count, CStored& values);

// The schema file of this line.
std::string SchemaContent(const std::string& line);

// Record lines by their ids.
using CRecords = std::map<std::string, std::string>;

// Below the root, which the caller has locked: its schemas and, for a table,
// that one, too.
class CMigration {
 public:
  CMigration(const std::string& root, CRemoved& removed);

  // Gives a file below kiv this content in one rename, its mode and owner those
  // of like where that is given.
  int Replace(const std::string& path, const std::string& content, mode_t mode,
              const struct stat* like);

  // Turns the stored values of a record into those that it gets.
  using Change = std::function<int(const std::string& id, CStored& values)>;

  // kBadRecord, with its line, for a table that holds anything but records of
  // count values; kNotFound without a directory of its own.
  int Check(const std::string& table, std::size_t count) const;

  // Gives the table, with count values in a record, other columns.
  int Run(const std::string& table, std::size_t count, const CSpecs& columns,
          const Change& change);

  // kNotEmpty, with its line, where a directory is in the place of a new table
  // that holds something else than these records.
  int CheckNew(const std::string& table, const CRecords& records) const;

  // Makes a new table of them; its schema comes last.
  int Make(const std::string& table, const CSpecs& columns,
           const CRecords& records);

  // Finishes what was left of any table: it is completed, or moved away when
  // nothing was exchanged yet.  Appends the tables' names.
  int FinishAll(std::vector<std::string>* tables);

  // kInvalid, with its line, where there is anything to finish.
  int RefuseUnfinished() const;

  // Removes what is empty or half written, as the last step.
  int Clean() const;

 private:
  std::string PathOf(const std::string& table) const {
    return m_directory + "/" + table;
  }
  std::string DataOf(const std::string& table) const;
  std::string SchemaOf(const std::string& table) const;
  std::string NewOf(const std::string& table, const std::string& id) const;

  int FindUnfinished(std::vector<std::string>& tables) const;
  int Finish(const std::string& table);
  int Prepare(const std::string& table);
  int ReadRecord(const std::string& table, const std::string& id,
                 std::size_t count, CStored& values, struct stat& like) const;
  int BuildRecords(const std::string& table, std::size_t count,
                   const Change& change);
  int Build(const std::string& table, std::size_t count, const CSpecs& columns,
            const Change& change);
  int Drop(const std::string& table, int status) const;

  std::string m_kiv;
  std::string m_directory;
  CRemoved& m_removed;
};

}  // namespace KivDB

#endif  // UPGRADE_MIGRATION_H_
