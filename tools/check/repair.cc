// Repairs, each done or not begun when a signal ends the process.

#include "check/repair.h"

#include <kivdb/migrate.h>
#include <kivdb/status.h>
#include <sys/stat.h>

#include <cerrno>

#include "ask.h"
#include "disk.h"

namespace tool {
namespace {

constexpr mode_t kTableMode = 0775;
constexpr mode_t kTreeMode = 0700;

// False where it is there already.
bool Make(const std::string& path, mode_t mode, const std::string& parent) {
  if (mkdir(path.c_str(), mode) != 0) {
    if (errno == EEXIST) return false;
    EndTrouble(path, WithError("cannot make the directory", errno));
  }
  SyncDirectory(parent);
  return true;
}

}  // namespace

CRepair::CRepair(const CContext& context, const CStore& store,
                 const CCheckOptions& options)
    : m_context(context),
      m_store(store),
      m_removed(store.root()),
      m_isActive(options.repairs && !options.isDryRun) {
  if (options.restores) {
    m_decision = Decision::kRestore;
  } else if (options.discards) {
    m_decision = Decision::kDiscard;
  } else if (m_isActive && CanAsk(context)) {
    m_decision = Decision::kAsk;
  }
}

// body gives what was done.
template <typename Body>
void CRepair::Do(CFinding& finding, Body body) {
  try {
    const CSignalHold hold;
    finding.repair = body();
    finding.isRepaired = true;
  } catch (const CEnd& end) {
    m_context.report.Say(end);
    finding.repair = "failed";
  }
}

void CRepair::MoveAway(CFinding& finding, const std::string& obstacle) {
  finding.repair = obstacle.empty() ? "move away" : "none: " + obstacle;
  if (!m_isActive || !obstacle.empty()) return;
  Do(finding, [&] {
    return "moved to " +
           m_removed.Move("database/" + finding.table + "/" + finding.entry);
  });
}

void CRepair::MoveTable(CFinding& finding, bool hasDirectory) {
  finding.repair = "move away";
  if (!m_isActive) return;
  Do(finding, [&] {
    std::string moved = "moved to ";
    if (hasDirectory) {
      moved += m_removed.Move("database/" + finding.table) + " and ";
    }
    return moved + m_removed.Move("schema/" + finding.table);
  });
}

void CRepair::MakeDirectory(CFinding& finding) {
  finding.repair = "make it";
  if (!m_isActive) return;
  Do(finding, [&] {
    const std::string kiv = m_store.root() + "/kiv";
    Make(kiv + "/database", kTreeMode, kiv);
    Make(m_store.PathOf(finding.table), kTableMode, kiv + "/database");
    return "made kiv/database/" + finding.table;
  });
}

// All of them in one go, as the library does it.
void CRepair::FinishMigrations(std::vector<CFinding>& findings) {
  for (CFinding& finding : findings) finding.repair = "finish it";
  if (!m_isActive) return;
  const CSignalHold hold;
  const int status = KivDB::FinishMigrations(m_store.root().c_str(), nullptr,
                                             &m_removed.folder());
  if (status != KivDB::kOk) m_context.report.Trouble("", ReasonOf(status));
  for (CFinding& finding : findings) {
    finding.isRepaired = status == KivDB::kOk;
    finding.repair = finding.isRepaired ? "finished" : "failed";
  }
}

void CRepair::Restore(CFinding& leftover, const std::string& id,
                      std::optional<CFinding>& record) {
  const std::string to = leftover.table + "/" + id;
  leftover.repair = "restore as " + to;
  if (record) record->repair = "move away";
  if (!m_isActive) return;
  Do(leftover, [&] {
    const std::string directory = m_store.PathOf(leftover.table);
    if (record) {
      record->repair = "moved to " + m_removed.Move("database/" + to);
      record->isRepaired = true;
    }
    const std::string from = directory + "/" + leftover.entry;
    SyncFile(from);
    if (!RenameNew(from, directory + "/" + id)) {
      EndTrouble(to, WithError("cannot restore", errno));
    }
    SyncDirectory(directory);
    return "restored as " + to;
  });
  if (record && !record->isRepaired) record->repair = "none";
}

}  // namespace tool
