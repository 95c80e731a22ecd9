// What saves leave behind: temporary files.

#ifndef TOOLS_CHECK_LEFTOVERS_H_
#define TOOLS_CHECK_LEFTOVERS_H_

#include <cstddef>
#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "check/content.h"
#include "check/run.h"
#include "check/table_state.h"
#include "removed.h"
#include "store.h"

namespace tool {

// Moves what saves of the record left away, whatever its age: it would come
// back as the record otherwise.  The table's lock is held.
void MoveLeftovers(const CTableReader& table, const std::string& id,
                   CRemoved& removed);

// What is wrong with a record that is not whole.
CFinding FindRecord(const std::string& table, const std::string& id,
                    const CContent& content);

// A record whose saves left something, and the most suffixes that it has.
struct CInterrupted {
  std::string id;
  std::size_t suffixes;
  std::string question = {};  // what there is to decide
};

// The leftovers of one table, each judged with those of the same record.
class CLeftovers {
 public:
  // isLocked: the table is, for a repair.
  CLeftovers(CCheckRun& run, const CTableState& table, CContentReader& reader,
             bool isLocked);

  // Notes a temporary file; false for one of no record.
  bool Note(const std::string& name);

  // Notes a record that is unusable; false where no save left anything of it.
  bool NoteRecord(const std::string& id);

  // Judges, repairs and reports what was noted, but for what is to be asked.
  void Judge();

  const std::vector<CInterrupted>& questions() const { return m_questions; }

  // The same for one record, with a decision of its own.
  void JudgeRecord(const CInterrupted& record, Decision decision);

 private:
  struct CLeftover {
    CContent content;
    CFinding finding;
    bool isYoung = false;
    bool isUndecided = false;
  };
  using Leftovers = std::vector<CLeftover>;

  Leftovers Look(const CInterrupted& record);
  CFinding FindLeftover(const std::string& name, const std::string& id,
                        const CContent& content, const CContent& record) const;
  CLeftover* Candidate(Leftovers& leftovers) const;
  bool IsAtWork(const Leftovers& leftovers) const;
  bool IsToBeAsked(const Leftovers& leftovers) const;
  std::string QuestionOf(const Leftovers& leftovers) const;
  void Report(const std::string& id, Leftovers& leftovers,
              const CContent& content, Decision decision);
  void Repair(const std::string& id, Leftovers& leftovers,
              std::optional<CFinding>& record, Decision decision);
  void RepairOne(CLeftover& leftover, Decision decision, bool isRestored);

  CCheckRun& m_run;
  const CTableState& m_table;
  CContentReader& m_reader;
  bool m_isLocked;
  bool m_isPatient = true;
  timespec m_began{};
  std::map<std::string, std::size_t> m_noted;  // suffixes by record
  std::vector<CInterrupted> m_questions;
};

}  // namespace tool

#endif  // TOOLS_CHECK_LEFTOVERS_H_
