// What an upgrade does to a table, and what it leaves.

#include "upgrade/table_upgrade.h"

#include <kivdb/status.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "core/format.h"
#include "core/locked.h"
#include "core/log.h"
#include "upgrade/disk.h"

namespace KivDB {
namespace {

// The id that the name of a record prints as, if it is one.
std::optional<int> IdOf(const std::string& name) {
  int id = 0;
  const char* const end = name.data() + name.size();
  const auto [rest, error] = std::from_chars(name.data(), end, id);
  const bool isId =
      error == std::errc() && rest == end && std::to_string(id) == name;
  return isId ? std::optional<int>(id) : std::nullopt;
}

// The text as one word of a command.
std::string ForShell(const std::string& text) {
  constexpr char kPlain[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.";
  if (text.find_first_not_of(kPlain) == text.npos) return text;
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? "'\\''" : std::string(1, c);
  return word + "'";
}

}  // namespace

CTableUpgrade::CTableUpgrade(const std::string& root,
                             const CUpgradeOptions& options,
                             const CShippedTable* base,
                             const CShippedTable* shipped,
                             CMigration& migration)
    : m_name(shipped != nullptr ? shipped->name : base->name),
      m_data(root + "/" + kDataDirectory + "/" + m_name),
      m_schema(root + "/" + kSchemaDirectory + "/" + m_name),
      m_options(options),
      m_base(base),
      m_shipped(shipped),
      m_migration(migration),
      m_merge(m_here, base, shipped) {
  m_kept.name = m_name;
  m_kept.columns = (shipped != nullptr ? shipped : base)->columns;
}

// A table that the owner dropped stays so.
int CTableUpgrade::Plan() {
  bool isThere = false;
  int status = Find(m_schema, isThere);
  if (status != kOk) return status;
  if (isThere) {
    m_work = Work::kMerge;
  } else if (m_base == nullptr) {
    m_work = Work::kMake;
  }
  if (m_work == Work::kMake) return PlanMaking();
  const std::set<int> ids = Ids();
  const bool isDone =
      m_work == Work::kNone ||
      ((m_shipped == nullptr || m_base != nullptr) &&
       (m_shipped == nullptr || m_shipped->columns == m_base->columns) &&
       std::all_of(ids.begin(), ids.end(),
                   [this](int id) { return IsUpToDate(id); }));
  if (isDone) {
    m_work = Work::kNone;
    return kOk;
  }
  status = ReadSpecs(m_schema, m_here);
  m_before = m_here.size();
  if (status == kOk && !IsThere(m_data)) {
    status = KIVDB_FAIL(kNotFound, "table [%s]: no directory: run check",
                        m_name.c_str());
  }
  if (status == kOk && m_shipped != nullptr) status = PlanColumns();
  if (status == kOk && m_here.size() > m_before) {
    CFileLock lock;
    if (!Lock(lock)) return kInvalid;
    status = m_migration.Check(m_name, m_before - 1);
  }
  return status == kOk ? RequirePlace() : status;
}

// A dry run takes none.
bool CTableUpgrade::Lock(CFileLock& lock) const {
  return m_options.isDryRun ||
         TakeLock(lock, m_data.c_str()) != LockResult::kFailed;
}

// Takes the columns that are new at the end.  All others must be where they
// are, by name and in their order; those that the owner appended may stay.
int CTableUpgrade::PlanColumns() {
  const CSpecs& columns = m_shipped->columns;
  std::size_t last = 0;
  bool isAtEnd = false;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const auto place = m_here.Find(columns[i].name);
    const bool isDropped = !place && WasShipped(columns[i].name);
    if (isDropped) continue;  // by the owner
    const bool fits = place && !isAtEnd && (i == 0) == (*place == 0) &&
                      *place >= last && m_here[*place] == columns[i];
    if (place && *place < m_before && !fits) return RefuseColumns();
    if (!place && i == 0) return RefuseColumns();
    if (place) last = *place;
    if (place) continue;
    isAtEnd = true;
    m_here.Add(columns[i]);
  }
  for (std::size_t i = 0; i < m_before; ++i) {
    const std::string& name = m_here[i].name;
    if (WasShipped(name) && !columns.Find(name)) return RefuseColumns();
  }
  return kOk;
}

// A new column in the place of one that is gone may be that one renamed.
int CTableUpgrade::RefuseColumns() const {
  CSpecs wanted;
  bool drops = false;
  const CSpecs& columns = m_shipped->columns;
  const auto isGone = [&](const std::string& name) {
    return WasShipped(name) && !columns.Find(name);
  };
  for (std::size_t i = 0; i < columns.size(); ++i) {
    CSpec spec = columns[i];
    const auto place = m_here.Find(spec.name);
    const bool isHere = place && *place < m_before;
    if (!isHere && WasShipped(spec.name)) continue;  // dropped by the owner
    const std::size_t at = wanted.size();
    if (!isHere && at < m_before && isGone(m_here[at].name)) {
      spec.name.insert(0, m_here[at].name + ">");
    }
    wanted.Add(std::move(spec));
  }
  for (std::size_t i = 0; i < m_before; ++i) {
    const CSpec& own = m_here[i];
    const bool isRenamed =
        i < wanted.size() && wanted[i].name.rfind(own.name + ">", 0) == 0;
    if (columns.Find(own.name) || isRenamed) continue;
    if (!isGone(own.name)) wanted.Add(own);
    drops = drops || isGone(own.name);
  }
  return KIVDB_FAIL(
      kSyntax,
      "table [%s]: columns change, not only new ones at the end: run "
      "kivdb migrate %s %s%s",
      m_name.c_str(), ForShell(m_name).c_str(),
      ForShell(wanted.Description()).c_str(), drops ? " --force" : "");
}

int CTableUpgrade::PlanMaking() {
  m_here = m_shipped->columns;
  const int status = RequirePlace();
  return status == kOk ? m_migration.CheckNew(m_name, Records()) : status;
}

CRecords CTableUpgrade::Records() const {
  CRecords records;
  for (const auto& [id, record] : m_shipped->records) {
    records[std::to_string(id)] = StoredLine(record.values);
  }
  return records;
}

const CShippedRecord* CTableUpgrade::Old(int id) const {
  return m_base != nullptr ? m_base->Find(id) : nullptr;
}

const CShippedRecord* CTableUpgrade::Now(int id) const {
  return m_shipped != nullptr ? m_shipped->Find(id) : nullptr;
}

bool CTableUpgrade::WasShipped(const std::string& column) const {
  return m_base != nullptr && m_base->columns.Find(column).has_value();
}

std::set<int> CTableUpgrade::Ids() const {
  std::set<int> ids;
  for (const CShippedTable* table : {m_base, m_shipped}) {
    if (table == nullptr) continue;
    for (const auto& [id, record] : table->records) ids.insert(id);
  }
  return ids;
}

// Whether nothing is to be done for a record, whatever the owner has.
bool CTableUpgrade::IsUpToDate(int id) const {
  const auto* old = Old(id);
  const auto* now = Now(id);
  if (now == nullptr) return !m_options.prunes;
  return old != nullptr && m_merge.IsSame(*old, *now);
}

// Every record that is looked at must have its values.
int CTableUpgrade::RequirePlace() const {
  for (const CShippedTable* table : {m_base, m_shipped}) {
    if (table == nullptr) continue;
    for (const auto& [id, record] : table->records) {
      if (!record.isOpen || IsUpToDate(id)) continue;
      return KIVDB_FAIL(kInvalid,
                        "%s/%i depends on the id and the host of the "
                        "database: give both",
                        m_name.c_str(), id);
    }
  }
  return kOk;
}

int CTableUpgrade::Append() {
  if (m_work != Work::kMerge || m_here.size() == m_before) return kOk;
  for (std::size_t i = m_before; i < m_here.size(); ++i) {
    CUpgradeStep& step = Note(CUpgradeStep::kColumnAdded, "");
    step.column = m_here[i].name;
    step.now = m_here[i].type;
  }
  if (m_options.isDryRun) return kOk;
  CFileLock lock;
  if (!Lock(lock)) return kInvalid;
  const int status =
      m_migration.Run(m_name, m_before - 1, m_here,
                      [this](const std::string& name, CStored& stored) {
                        return MergeAppended(name, stored);
                      });
  if (status == kOk) {
    m_before = m_here.size();
  } else {
    m_steps.clear();
  }
  return status;
}

// Values of an appended column go to records that were delivered only.
int CTableUpgrade::MergeAppended(const std::string& name, CStored& stored) {
  stored.resize(m_here.size() - 1);
  const std::optional<int> id = IdOf(name);
  if (!id || Old(*id) == nullptr || Now(*id) == nullptr || IsUpToDate(*id)) {
    return kOk;
  }
  m_merged.insert(*id);
  const std::size_t done = m_steps.size();
  m_merge.Apply(*Old(*id), *Now(*id), stored, m_steps);
  for (std::size_t i = done; i < m_steps.size(); ++i) {
    m_steps[i].table = m_name;
    m_steps[i].id = name;
  }
  return kOk;
}

int CTableUpgrade::Merge() {
  if (m_work == Work::kMake) return kOk;
  CFileLock lock;
  if (m_work == Work::kMerge && !Lock(lock)) return kInvalid;
  int status = kOk;
  for (const int id : Ids()) {
    status = MergeRecord(id);
    if (status != kOk) break;
  }
  return status;
}

int CTableUpgrade::MergeRecord(int id) {
  const auto* now = Now(id);
  if (m_work == Work::kNone || IsUpToDate(id) || m_merged.count(id) != 0) {
    now != nullptr ? Keep(id, *now) : Carry(id);
    return kOk;
  }
  CStored stored;
  switch (ReadHere(id, stored)) {
    case kOk:
      return MergeFound(id, stored);
    case kNotFound:
      break;
    default:
      return Leave(CUpgradeStep::kUnreadable, id);
  }
  bool isInterrupted = false;
  const int status = Find(PathOf(id) + kTemporarySuffix, isInterrupted);
  if (status != kOk) return status;
  if (isInterrupted) return Leave(CUpgradeStep::kInterrupted, id);
  if (now == nullptr) return kOk;
  Keep(id, *now);
  return Old(id) != nullptr ? int{kOk} : Add(id);
}

// The record is there, and shipped otherwise than it was delivered.
int CTableUpgrade::MergeFound(int id, CStored& stored) {
  const auto* old = Old(id);
  const auto* now = Now(id);
  if (now == nullptr) return Prune(id, stored);
  if (old == nullptr) {
    const bool isOurs = m_merge.IsThere(*now, stored);
    if (!isOurs) return Leave(CUpgradeStep::kIdTaken, id);
    Keep(id, *now);
    return kOk;
  }
  Keep(id, *now);
  std::vector<CUpgradeStep> steps;
  const bool isChanged = m_merge.Apply(*old, *now, stored, steps);
  const int status = isChanged ? Save(id, stored, true) : int{kOk};
  for (CUpgradeStep& step : steps) {
    if (status != kOk) break;
    step.table = m_name;
    step.id = std::to_string(id);
    m_steps.push_back(std::move(step));
  }
  return status;
}

int CTableUpgrade::Add(int id) {
  const CStored stored = m_merge.StoredHere(*Now(id));
  const int status = Save(id, stored, false);
  if (status == kOk) NoteRecord(CUpgradeStep::kRecordAdded, id, stored);
  return status;
}

// A temporary file beside the record would come back in its place.
int CTableUpgrade::Prune(int id, const CStored& stored) {
  const std::string path = PathOf(id);
  if (!m_merge.IsDelivered(*Old(id), stored)) {
    return Leave(CUpgradeStep::kRecordKept, id);
  }
  bool isInterrupted = false;
  int status = Find(path + kTemporarySuffix, isInterrupted);
  if (status != kOk) return status;
  if (isInterrupted) return Leave(CUpgradeStep::kInterrupted, id);
  if (!m_options.isDryRun) {
    if (unlink(path.c_str()) != 0) return DiskError("delete", path);
    status = SyncDirectory(m_data);
    if (status != kOk) return status;
  }
  NoteRecord(CUpgradeStep::kRecordDeleted, id, stored);
  return kOk;
}

int CTableUpgrade::ReadHere(int id, CStored& stored) const {
  int status = ReadStored(PathOf(id), m_before - 1, stored);
  const bool isLink = status == kNotFound && !IsMissing(PathOf(id));
  if (isLink) status = kRecordUnreadable;
  stored.resize(m_here.size() - 1);  // where columns are only planned
  return status;
}

int CTableUpgrade::Save(int id, const CStored& stored, bool isThere) {
  if (m_options.isDryRun) return kOk;
  const std::string path = PathOf(id);
  struct stat like;
  if (isThere && stat(path.c_str(), &like) != 0) return DiskError("read", path);
  return m_migration.Replace(path, StoredLine(stored), kRecordMode,
                             isThere ? &like : nullptr);
}

int CTableUpgrade::Make() {
  if (m_work != Work::kMake) return kOk;
  if (!m_options.isDryRun) {
    const int status = m_migration.Make(m_name, m_here, Records());
    if (status != kOk) return status;
  }
  Note(CUpgradeStep::kTableAdded, "");
  for (const auto& [id, record] : m_shipped->records) {
    Keep(id, record);
    NoteRecord(CUpgradeStep::kRecordAdded, id, record.values);
  }
  return kOk;
}

void CTableUpgrade::Keep(int id, const CShippedRecord& record) {
  m_kept.records[id] = record;
}

// What was delivered before still counts.
void CTableUpgrade::Carry(int id) {
  const auto* old = Old(id);
  if (old != nullptr) m_kept.records[id] = m_merge.Carried(*old);
}

// As it is, for a reason.
int CTableUpgrade::Leave(CUpgradeStep::Kind kind, int id) {
  m_left.insert(kind);
  Note(kind, std::to_string(id));
  Carry(id);
  return kOk;
}

CUpgradeStep& CTableUpgrade::Note(CUpgradeStep::Kind kind,
                                  const std::string& id) {
  CUpgradeStep step{};
  step.kind = kind;
  step.table = m_name;
  step.id = id;
  m_steps.push_back(std::move(step));
  return m_steps.back();
}

void CTableUpgrade::NoteRecord(CUpgradeStep::Kind kind, int id,
                               const CStored& stored) {
  CUpgradeStep& step = Note(kind, std::to_string(id));
  for (std::size_t i = 1; i < m_here.size(); ++i) {
    step.columns.push_back(m_here[i].name);
    step.values.push_back(ReadValue(stored[i - 1]));
  }
}

// Those of the table come first.
std::vector<CUpgradeStep> CTableUpgrade::TakeSteps() {
  std::stable_sort(m_steps.begin(), m_steps.end(),
                   [](const CUpgradeStep& a, const CUpgradeStep& b) {
                     if (a.id.empty() || b.id.empty()) {
                       return a.id.empty() && !b.id.empty();
                     }
                     return *IdOf(a.id) < *IdOf(b.id);
                   });
  return std::move(m_steps);
}

}  // namespace KivDB
