// Records, and what else is in a table directory.

#include "check/entries.h"

#include <fcntl.h>
#include <kivdb/lock.h>
#include <kivdb/status.h>
#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <utility>
#include <vector>

#include "ask.h"
#include "change.h"
#include "check/content.h"
#include "check/leftovers.h"
#include "check/names.h"
#include "check/table_state.h"
#include "patient_lock.h"

namespace tool {
namespace {

// Where the file system tells no types, opening tells.
bool MayBeRegular(const dirent& entry) {
  return entry.d_type == DT_REG || entry.d_type == DT_UNKNOWN;
}

class CEntries {
 public:
  CEntries(CCheckRun& run, const CTableState& table, bool isLocked)
      : m_run(run),
        m_table(table),
        m_isLocked(isLocked),
        m_reader(table.schema, table.HasSchemaError()),
        m_leftovers(run, table, m_reader, isLocked) {}

  void Check() {
    const int directory = m_table.directory.get();
    m_run.progress.Begin(m_table.name, directory);
    const int error = WalkEntries(directory, [this](const dirent& entry) {
      m_run.progress.Step();
      Visit(entry);
      return true;
    });
    m_run.progress.Erase();
    if (error != 0) {
      EndTrouble(m_table.name, WithError("cannot read the table", error));
    }
    m_leftovers.Judge();
  }

  CLeftovers& leftovers() { return m_leftovers; }

 private:
  void Visit(const dirent& entry) {
    const std::string name = entry.d_name;
    if (IsCanonicalId(name)) {
      CheckRecord(name, entry);
      m_run.AddAllocation(m_table.name, name);
      return;
    }
    const EntryKind kind = KindOf(name);
    const bool isTemporary = kind == EntryKind::kTemporary;
    if (kind == EntryKind::kMarker) {
      Remove("marker", name, "a marker is never a record");
    } else if (isTemporary && m_leftovers.Note(name)) {
      return;
    } else if ((isTemporary || IsLeftoverName(name)) && IsRegular(entry)) {
      Remove("leftover", name, "left by an editor or package manager");
    } else {
      Add(Severity::kWarning, "odd-entry", name,
          IsRegular(entry) ? "the name is no id" : "no regular file");
      m_run.AddAllocation(m_table.name, name);
    }
  }

  bool IsRegular(const dirent& entry) const {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_REG;
    struct stat status {};
    return fstatat(m_table.directory.get(), entry.d_name, &status,
                   AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISREG(status.st_mode);
  }

  void CheckRecord(const std::string& id, const dirent& entry) {
    const CContent& content = Read(id, entry);
    if (content.error == ENOENT) return;
    if (!content.IsWhole()) {
      const CFinding finding = FindRecord(m_table.name, id, content);
      if (!m_leftovers.NoteRecord(id)) m_run.Add(finding);
    } else if (!content.doubts.empty()) {
      Add(Severity::kWarning, "record-doubtful", id, content.doubts);
    }
  }

  const CContent& Read(const std::string& id, const dirent& entry) {
    const int directory = m_table.directory.get();
    if (!MayBeRegular(entry)) return m_reader.Look(directory, id);
    const CContent& content = m_reader.Read(directory, id);
    if (content.error != ENOENT || m_isLocked) return content;
    // Between the two steps of a save there is no file of that name.
    const CPatientLock lock(directory);
    return m_reader.Read(directory, id);
  }

  void Remove(const char* word, const std::string& name, const char* text) {
    CFinding finding{Severity::kWarning, word, m_table.name, name, text};
    m_run.repair.MoveAway(finding, m_table.Obstacle());
    m_run.Add(finding);
    // No marker counts when an id is chosen.
    const bool isCounted = KindOf(name) != EntryKind::kMarker;
    if (isCounted && !finding.isRepaired) {
      m_run.AddAllocation(m_table.name, name);
    }
  }

  void Add(Severity severity, const char* word, const std::string& name,
           const std::string& text) {
    m_run.Add({severity, word, m_table.name, name, text});
  }

  CCheckRun& m_run;
  const CTableState& m_table;
  bool m_isLocked;
  CContentReader m_reader;
  CLeftovers m_leftovers;
};

// It could be read when it was judged, maybe.
void RequireSchema(const CTableState& table) {
  const int error = table.schemaError;
  if (error == 0 || error == ENOENT || error == EINVAL) return;
  EndTrouble(table.name, WithError("cannot read the schema", error));
}

// Calls body with the table's state, read under its lock for a repair, unless
// there is nothing to look at.
template <typename Body>
void WithTable(CCheckRun& run, const std::string& table, Body body) {
  CTableState state = LookAt(run.store, table);
  const bool isLocked = run.repair.IsActive() && state.directory.isOpen() &&
                        state.Obstacle().empty();
  std::optional<KivDB::CTableLock> lock;
  if (isLocked) {
    lock.emplace(run.store.root().c_str(), table.c_str());
    RequireHeld(*lock, table);
    state = LookAt(run.store, table);
  }
  RequireSchema(state);
  const int error = state.directoryError;
  if (error != 0 && error != ENOENT && error != ENOTDIR) {
    EndTrouble(table, WithError("cannot read the table", error));
  }
  if (state.hasSchema && state.directory.isOpen()) body(state, isLocked);
}

Decision AskAbout(CCheckRun& run, const std::string& question) {
  run.context.out.Flush();
  const char answer =
      Ask(question + ": r restores it, d moves it away, nothing leaves it:");
  if (answer == 'r') return Decision::kRestore;
  return answer == 'd' ? Decision::kDiscard : Decision::kNone;
}

}  // namespace

void CheckEntries(CCheckRun& run, const std::string& table) {
  std::vector<CInterrupted> questions;
  WithTable(run, table, [&](const CTableState& state, bool isLocked) {
    CEntries entries(run, state, isLocked);
    entries.Check();
    questions = entries.leftovers().questions();
  });
  for (const CInterrupted& record : questions) {
    const Decision decision = AskAbout(run, record.question);
    WithTable(run, table, [&](const CTableState& state, bool isLocked) {
      CContentReader reader(state.schema, state.HasSchemaError());
      CLeftovers(run, state, reader, isLocked).JudgeRecord(record, decision);
    });
  }
}

}  // namespace tool
