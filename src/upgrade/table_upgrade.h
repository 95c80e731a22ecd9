// The upgrade of one table.

#ifndef UPGRADE_TABLE_UPGRADE_H_
#define UPGRADE_TABLE_UPGRADE_H_

#include <kivdb/upgrade.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/file_lock.h"
#include "upgrade/merge.h"
#include "upgrade/migration.h"
#include "upgrade/shipped.h"

namespace KivDB {

class CTableUpgrade {
 public:
  // base: as it was delivered, shipped: as it is now; null where that has no
  // such table, but not both.  All must live as long.
  CTableUpgrade(const std::string& root, const CUpgradeOptions& options,
                const CShippedTable* base, const CShippedTable* shipped,
                CMigration& migration);
  CTableUpgrade(const CTableUpgrade&) = delete;
  CTableUpgrade& operator=(const CTableUpgrade&) = delete;

  // The steps of an upgrade, each for all tables before the next.

  // Refuses what cannot be done.  Changes nothing.
  int Plan();

  // Appends new columns, and merges the records on the way.
  int Append();

  // Merges the records that are left.
  int Merge();

  // Makes the table where it is new.
  int Make();

  // What was done, by id.
  std::vector<CUpgradeStep> TakeSteps();

  // What counts as delivered from now on.
  CShippedTable TakeKept() { return std::move(m_kept); }

  // Whether any record was left for this reason.
  bool HasLeft(CUpgradeStep::Kind reason) const {
    return m_left.count(reason) != 0;
  }

 private:
  enum class Work { kNone, kMerge, kMake };

  int PlanColumns();
  int RefuseColumns() const;
  int PlanMaking();
  CRecords Records() const;
  bool Lock(CFileLock& lock) const;
  bool IsUpToDate(int id) const;
  int RequirePlace() const;

  int MergeAppended(const std::string& name, CStored& stored);
  int MergeRecord(int id);
  int MergeFound(int id, CStored& stored);
  int Add(int id);
  int Prune(int id, const CStored& stored);
  int Save(int id, const CStored& stored, bool isThere);
  int ReadHere(int id, CStored& stored) const;

  // A record as it was delivered and as it is shipped, or null.
  const CShippedRecord* Old(int id) const;
  const CShippedRecord* Now(int id) const;
  bool WasShipped(const std::string& column) const;
  std::set<int> Ids() const;
  std::string PathOf(int id) const { return m_data + "/" + std::to_string(id); }
  void Keep(int id, const CShippedRecord& record);
  void Carry(int id);
  int Leave(CUpgradeStep::Kind kind, int id);
  CUpgradeStep& Note(CUpgradeStep::Kind kind, const std::string& id);
  void NoteRecord(CUpgradeStep::Kind kind, int id, const CStored& stored);

  const std::string m_name;
  const std::string m_data;
  const std::string m_schema;
  const CUpgradeOptions& m_options;
  const CShippedTable* m_base;
  const CShippedTable* m_shipped;
  CMigration& m_migration;

  Work m_work = Work::kNone;
  CSpecs m_here;             // with the columns that are appended
  std::size_t m_before = 0;  // the number of columns without these
  const CMerge m_merge;      // by m_here
  std::set<int> m_merged;    // while columns were appended
  std::set<CUpgradeStep::Kind> m_left;
  CShippedTable m_kept;
  std::vector<CUpgradeStep> m_steps;
};

}  // namespace KivDB

#endif  // UPGRADE_TABLE_UPGRADE_H_
