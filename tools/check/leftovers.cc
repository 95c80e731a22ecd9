// Judging temporary files.  A save writes N.tmp whole and syncs it, removes N
// and then renames N.tmp to N: so a complete N.tmp without N may be all that is
// left of the record, and one that is not complete replaces nothing.

#include "check/leftovers.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "check/names.h"
#include "disk.h"
#include "patient_lock.h"

namespace tool {
namespace {

constexpr double kYoung = 60;  // seconds

double SecondsOf(const timespec& time) {
  return static_cast<double>(time.tv_sec) +
         static_cast<double>(time.tv_nsec) / 1e9;
}

double Now(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return SecondsOf(now);
}

// A host that does not lock may be at it.  Nobody is who wrote it before the
// system began; a clock that was far ahead then does not count.
bool IsYoung(const timespec& written) {
  const double now = Now(CLOCK_REALTIME);
  const double age = now - SecondsOf(written);
  return age < kYoung && age > -kYoung && age < Now(CLOCK_BOOTTIME);
}

std::string TimeOf(const CContent& content) {
  std::tm utc{};
  char text[32];
  std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ",
                gmtime_r(&content.written.tv_sec, &utc));
  return text;
}

// Times are a hint and decide nothing.
std::string Hint(const CContent& leftover, const CContent& record) {
  return ", written " + TimeOf(leftover) +
         (record.error == 0 ? ", the record " + TimeOf(record) : "");
}

}  // namespace

void MoveLeftovers(const CTableReader& table, const std::string& id,
                   CRemoved& removed) {
  const CSignalHold hold;
  std::string name = id;
  for (int i = 0; i < 2; ++i) {
    name += kTemporarySuffix;
    if (table.Has(name)) removed.Move("database/" + table.name() + "/" + name);
  }
}

CFinding FindRecord(const std::string& table, const std::string& id,
                    const CContent& content) {
  if (!content.isRegular) {
    return {Severity::kWarning, "odd-entry", table, id, "no regular file"};
  }
  return {Severity::kError, "record-unusable", table, id, content.Fault()};
}

CLeftovers::CLeftovers(CCheckRun& run, const CTableState& table,
                       CContentReader& reader, bool isLocked)
    : m_run(run), m_table(table), m_reader(reader), m_isLocked(isLocked) {
  clock_gettime(CLOCK_REALTIME_COARSE, &m_began);  // that of file systems
}

bool CLeftovers::Note(const std::string& name) {
  const CTemporaryName parsed = ParseTemporary(name);
  if (parsed.id.empty() || parsed.id == "." || parsed.id == "..") return false;
  std::size_t& suffixes = m_noted[parsed.id];
  suffixes = std::max(suffixes, parsed.suffixes);
  return true;
}

bool CLeftovers::NoteRecord(const std::string& id) {
  const CInterrupted record{id, 2};
  return !Look(record).empty() &&
         Note(id + kTemporarySuffix + kTemporarySuffix);
}

void CLeftovers::Judge() {
  for (const auto& [id, suffixes] : m_noted) {
    JudgeRecord({id, suffixes}, m_run.repair.decision());
  }
}

CLeftovers::Leftovers CLeftovers::Look(const CInterrupted& record) {
  Leftovers leftovers;
  std::string name = record.id;
  for (std::size_t i = 0; i < record.suffixes; ++i) {
    name += kTemporarySuffix;
    CLeftover leftover;
    leftover.content = m_reader.Look(m_table.directory.get(), name);
    if (leftover.content.error == ENOENT) continue;
    leftover.finding.entry = name;
    leftover.isYoung = IsYoung(leftover.content.written);
    leftovers.push_back(std::move(leftover));
  }
  return leftovers;
}

void CLeftovers::JudgeRecord(const CInterrupted& record, Decision decision) {
  std::optional<CPatientLock> lock;
  if (!m_isLocked && m_isPatient) {
    lock.emplace(m_table.directory.get());
    m_isPatient = lock->isHeld();  // who holds it for long does not save
  }
  Leftovers leftovers = Look(record);
  const bool isKept = m_isLocked || (lock && lock->isHeld());
  if (!isKept && IsAtWork(leftovers)) return;
  const CContent content = m_reader.Look(m_table.directory.get(), record.id);
  for (CLeftover& leftover : leftovers) {
    leftover.finding = FindLeftover(leftover.finding.entry, record.id,
                                    leftover.content, content);
    leftover.isUndecided = leftover.finding.word == "save-interrupted";
  }
  // Beside a usable one those after it are not asked about.
  const CLeftover* candidate = Candidate(leftovers);
  for (CLeftover& leftover : leftovers) {
    if (candidate != nullptr && &leftover > candidate) {
      leftover.isUndecided = false;
    }
  }
  if (decision == Decision::kAsk && IsToBeAsked(leftovers)) {
    m_questions.push_back(record);
    m_questions.back().question = QuestionOf(leftovers);
    return;
  }
  Report(record.id, leftovers, content, decision);
}

// About the first that waits for a decision.
std::string CLeftovers::QuestionOf(const Leftovers& leftovers) const {
  for (const CLeftover& leftover : leftovers) {
    const CFinding& finding = leftover.finding;
    if (!leftover.isUndecided || leftover.isYoung) continue;
    return finding.table + "/" + finding.entry + ": " + finding.text;
  }
  return {};
}

// While another one holds the lock: what has come since is of a save.
bool CLeftovers::IsAtWork(const Leftovers& leftovers) const {
  return std::any_of(
      leftovers.begin(), leftovers.end(), [this](const CLeftover& leftover) {
        return SecondsOf(leftover.content.written) >= SecondsOf(m_began);
      });
}

bool CLeftovers::IsToBeAsked(const Leftovers& leftovers) const {
  return m_table.Obstacle().empty() && !QuestionOf(leftovers).empty();
}

CFinding CLeftovers::FindLeftover(const std::string& name,
                                  const std::string& id,
                                  const CContent& content,
                                  const CContent& record) const {
  const bool isThere = record.IsWhole();
  CFinding finding{isThere ? Severity::kWarning : Severity::kError, "",
                   m_table.name, name, ""};
  if (!content.isRegular) {
    finding.severity = Severity::kError;
    finding.word = "save-blocked";
    finding.text = "no regular file: it blocks every save of " + id;
  } else if (content.error != 0) {
    finding.word = "save-cut";
    finding.text = WithError("a save that cannot be read", content.error);
  } else if (!content.isComplete) {
    finding.word = "save-cut";
    finding.text = isThere ? "an incomplete save"
                           : "an incomplete save without its record: an "
                             "acknowledged record may be lost";
  } else if (isThere) {
    finding.word = "save-unconfirmed";
    finding.text = "a complete save that did not replace its record";
  } else {
    finding.word = "save-interrupted";
    finding.text =
        "a complete save of " + content.Count() + " without its record";
  }
  finding.text += Hint(content, record);
  return finding;
}

// The first that can be the record.
CLeftovers::CLeftover* CLeftovers::Candidate(Leftovers& leftovers) const {
  const auto found = std::find_if(
      leftovers.begin(), leftovers.end(), [](const CLeftover& leftover) {
        return leftover.isUndecided && leftover.content.IsWhole();
      });
  return found == leftovers.end() ? nullptr : &*found;
}

void CLeftovers::Report(const std::string& id, Leftovers& leftovers,
                        const CContent& content, Decision decision) {
  std::optional<CFinding> record;
  if (content.error != ENOENT && !content.IsWhole()) {
    record = FindRecord(m_table.name, id, content);
  }
  Repair(id, leftovers, record, decision);
  // What has another name than an id is reported for that.
  if (record && (IsCanonicalId(id) || record->isRepaired)) m_run.Add(*record);
  for (const CLeftover& leftover : leftovers) {
    m_run.Add(leftover.finding);
    if (leftover.finding.isRepaired) continue;
    m_run.AddAllocation(m_table.name, leftover.finding.entry);
  }
}

void CLeftovers::Repair(const std::string& id, Leftovers& leftovers,
                        std::optional<CFinding>& record, Decision decision) {
  CLeftover* candidate = Candidate(leftovers);
  const bool isAnyYoung =
      std::any_of(leftovers.begin(), leftovers.end(),
                  [](const CLeftover& leftover) { return leftover.isYoung; });
  const bool isTried = decision == Decision::kRestore && !isAnyYoung &&
                       candidate != nullptr && m_table.Obstacle().empty();
  bool isRestored = false;
  if (isTried) {
    m_run.repair.Restore(candidate->finding, id, record);
    isRestored = candidate->finding.isRepaired || !m_run.repair.IsActive();
    if (candidate->finding.isRepaired && !record) {
      m_run.AddAllocation(m_table.name, id);
    }
  }
  for (CLeftover& leftover : leftovers) {
    const bool isDone = isTried && &leftover == candidate;
    if (!isDone) RepairOne(leftover, decision, isRestored);
  }
}

void CLeftovers::RepairOne(CLeftover& leftover, Decision decision,
                           bool isRestored) {
  CFinding& finding = leftover.finding;
  const std::string obstacle = m_table.Obstacle();
  const bool isDecided =
      !leftover.isUndecided || isRestored || decision == Decision::kDiscard;
  if (!obstacle.empty()) {
    finding.repair = "none: " + obstacle;
  } else if (leftover.content.error != 0) {
    finding.repair = "none: it cannot be read";
  } else if (leftover.isYoung) {
    finding.repair = "none: it is younger than 60 seconds";
  } else if (isDecided) {
    m_run.repair.MoveAway(finding, "");
  } else if (decision == Decision::kRestore) {
    finding.repair = leftover.content.IsWhole()
                         ? "none: another is younger than 60 seconds"
                         : "not restored: " + leftover.content.Count();
  } else {
    finding.repair = "--restore or --discard";
  }
}

}  // namespace tool
