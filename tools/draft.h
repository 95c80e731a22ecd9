// A table with changes that are planned.

#ifndef TOOLS_DRAFT_H_
#define TOOLS_DRAFT_H_

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "change.h"
#include "context.h"
#include "difference.h"
#include "store.h"

namespace tool {

// What a locked table will be once the changes that were put here are made.
// Nothing is written.  The change must outlive the draft.  Interrupted records
// stay what they are: no change of one can be planned.
class CDraft {
 public:
  explicit CDraft(const CChange& change) : m_change(change) {}

  const CChange& change() const { return m_change; }
  const CTableReader& table() const { return m_change.reader(); }

  // As CTableReader's.
  bool Has(const std::string& id) const;
  std::optional<CRecord> Read(const std::string& id, std::string& reason) const;
  std::vector<std::string> Ids() const;

  // The id of the next record that is given none.  Ends the command where that
  // is above max, unless this is 0.
  std::string NextId(unsigned int max);

  void Put(const CRecordWrite& write);
  void Erase(const std::string& id);

  // Prints in which the draft differs from the table.
  void Foretell(const CContext& context, CDifferences& differences) const;

 private:
  using Order = bool (*)(const std::string& a, const std::string& b);

  unsigned int FindHighest() const;
  bool IsErased(const std::string& name) const;

  const CChange& m_change;
  // Of the records that are written, none of those that are erased.
  std::map<std::string, std::optional<CRecord>, Order> m_records{IdsInOrder};
  std::optional<unsigned int> m_highest;  // once it is known
};

}  // namespace tool

#endif  // TOOLS_DRAFT_H_
