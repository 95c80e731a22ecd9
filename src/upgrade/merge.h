// The three-way merge of one record, by the names of its columns.

#ifndef UPGRADE_MERGE_H_
#define UPGRADE_MERGE_H_

#include <kivdb/upgrade.h>

#include <string>
#include <vector>

#include "upgrade/migration.h"
#include "upgrade/shipped.h"

namespace KivDB {

// A value as reading gives it.
std::string ReadValue(const std::string& stored);

class CMerge {
 public:
  // The columns of the table and those of what was delivered and is shipped,
  // null where that has no such table.  All must live as long.
  CMerge(const CSpecs& here, const CShippedTable* base,
         const CShippedTable* shipped)
      : m_here(here), m_base(base), m_shipped(shipped) {}

  // Whether a record is shipped as it was, so that nothing is to be done.
  bool IsSame(const CShippedRecord& old, const CShippedRecord& now) const;

  // Whether the record here, stored, reads as the one of base or shipped.
  // Values of columns that only the table has must be empty for the one of base
  // and do not count for the other.
  bool IsDelivered(const CShippedRecord& old, const CStored& stored) const;
  bool IsThere(const CShippedRecord& now, const CStored& stored) const;

  // Takes over into stored what shipped changes, unless the owner changed it,
  // and appends a step for each.  False when stored stays as it was.
  bool Apply(const CShippedRecord& old, const CShippedRecord& now,
             CStored& stored, std::vector<CUpgradeStep>& steps) const;

  // A shipped record as the table stores it.
  CStored StoredHere(const CShippedRecord& now) const;

  // A record of base by the columns that are shipped.
  CShippedRecord Carried(const CShippedRecord& old) const;

 private:
  const CSpecs& m_here;
  const CShippedTable* m_base;
  const CShippedTable* m_shipped;
};

}  // namespace KivDB

#endif  // UPGRADE_MERGE_H_
