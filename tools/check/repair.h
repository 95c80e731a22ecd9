// Repairing what check finds, or saying what would be done.

#ifndef TOOLS_CHECK_REPAIR_H_
#define TOOLS_CHECK_REPAIR_H_

#include <optional>
#include <string>
#include <vector>

#include "check/finding.h"
#include "commands.h"
#include "removed.h"
#include "store.h"

namespace tool {

// What becomes of a save without its record.
enum class Decision { kNone, kAsk, kRestore, kDiscard };

class CRepair {
 public:
  CRepair(const CContext& context, const CStore& store,
          const CCheckOptions& options);

  // Whether anything is changed.
  bool IsActive() const { return m_isActive; }
  Decision decision() const { return m_decision; }

  // Each does it, or notes in the finding that a repair would.  What fails is
  // reported and leaves the finding as it is.

  // Moves the entry away, unless there is an obstacle.
  void MoveAway(CFinding& finding, const std::string& obstacle);

  // Moves a schema away with its table directory, if it is there: that goes
  // first, as the schema tells of it.
  void MoveTable(CFinding& finding, bool hasDirectory);

  void MakeDirectory(CFinding& finding);

  // Finishes the migrations that were killed: one finding each.
  void FinishMigrations(std::vector<CFinding>& findings);

  // Gives the leftover the name of the record.  What has that name, if there is
  // a finding for it, is moved away before.
  void Restore(CFinding& leftover, const std::string& id,
               std::optional<CFinding>& record);

 private:
  template <typename Body>
  void Do(CFinding& finding, Body body);

  const CContext& m_context;
  const CStore& m_store;
  CRemoved m_removed;
  bool m_isActive;
  Decision m_decision = Decision::kNone;
};

}  // namespace tool

#endif  // TOOLS_CHECK_REPAIR_H_
