// Building a table anew and exchanging it.

#include "upgrade/migration.h"

#include <fcntl.h>
#include <kivdb/dir_iterator.h>
#include <kivdb/status.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/descriptor.h"
#include "core/format.h"
#include "core/locked.h"
#include "core/log.h"
#include "core/walk.h"
#include "database/fingerprint.h"
#include "table/entry.h"
#include "table/stored_fields.h"
#include "upgrade/disk.h"
#include "zel.h"

namespace KivDB {
namespace {

constexpr char kNew[] = "/new";
constexpr char kOld[] = "/old";
constexpr char kSchema[] = "/schema";
constexpr char kStage[] = "stage";

int RefuseEntry(const std::string& table, const std::string& entry,
                const char* why) {
  return KIVDB_FAIL(kBadRecord, "%s/%s: %s: run check", table.c_str(),
                    entry.c_str(), why);
}

// Gives a directory the mode and owner of another, and forces all of it to
// disk.
int FinishDirectory(const std::string& path, const struct stat& like) {
  const CDescriptor directory(path.c_str(), O_RDONLY | O_DIRECTORY);
  if (!directory.IsOpen()) return DiskError("read", path);
  const int status = MakeLike(directory.Get(), like, path);
  return status == kOk ? SyncFiles(path) : status;
}

// Whether the directory holds these records and nothing else.
bool HoldsOnly(const std::string& directory, const CRecords& records) {
  std::size_t count = 0;
  const int status = ForEachEntry(directory, [&](const std::string& name) {
    const auto found = records.find(name);
    CTextBuffer line;
    constexpr std::size_t kWhole = std::string::npos;
    const bool isEqual =
        found != records.end() &&
        ReadFirstLine(AT_FDCWD, (directory + "/" + name).c_str(), kWhole,
                      line) == ReadResult::kRead &&
        found->second == std::string_view(line.data(), line.size());
    if (isEqual) ++count;
    return isEqual ? int{kOk} : int{kBadRecord};
  });
  return status == kOk && count == records.size();
}

}  // namespace

std::string StoredLine(const CStored& values) {
  std::string line;
  for (const std::string& value : values) line.append(value) += kSeparator;
  return line;
}

std::string SchemaContent(const std::string& line) {
  char fingerprint[kFingerprintSize];
  MakeFingerprint(line.c_str(), line.size(), fingerprint);
  return line + "\n" + fingerprint;
}

CMigration::CMigration(const std::string& root, CRemoved& removed)
    : m_kiv(root + "/" + kTopDirectory),
      m_directory(m_kiv + "/migrate"),
      m_removed(removed) {}

std::string CMigration::DataOf(const std::string& table) const {
  return m_kiv + "/database/" + table;
}

std::string CMigration::SchemaOf(const std::string& table) const {
  return m_kiv + "/schema/" + table;
}

std::string CMigration::NewOf(const std::string& table,
                              const std::string& id) const {
  return m_directory + "/" + table + kNew + "/" + id;
}

int CMigration::Replace(const std::string& path, const std::string& content,
                        mode_t mode, const struct stat* like) {
  const std::string stage = m_directory + "/" + kStage;
  int status = MakeDirectory(m_directory, kTreeMode);
  if (status == kOk) status = WriteFile(stage, content, mode, Sync::kNow, like);
  if (status == kOk) status = Rename(stage, path);
  if (status != kOk) unlink(stage.c_str());
  return status;
}

int CMigration::Run(const std::string& table, std::size_t count,
                    const CSpecs& columns, const Change& change) {
  int status = Check(table, count);
  if (status != kOk) return status;
  status = Build(table, count, columns, change);
  if (status == kOk) status = Rename(DataOf(table), PathOf(table) + kOld);
  return status == kOk ? Finish(table) : Drop(table, status);
}

// What was built goes again unless the table is already in its place.
int CMigration::Drop(const std::string& table, int status) const {
  const std::string own = PathOf(table);
  bool hasOld = false;
  if (Find(own + kOld, hasOld) == kOk && !hasOld) DeleteTreeA(own.c_str());
  return status;
}

int CMigration::Prepare(const std::string& table) {
  int status = MakeDirectory(m_directory, kTreeMode);
  if (status == kOk) status = MakeDirectory(PathOf(table), kTreeMode);
  return status;
}

int CMigration::Build(const std::string& table, std::size_t count,
                      const CSpecs& columns, const Change& change) {
  const std::string data = DataOf(table);
  const std::string schema = SchemaOf(table);
  struct stat old;
  struct stat oldSchema;
  if (stat(data.c_str(), &old) != 0) return DiskError("read", data);
  if (stat(schema.c_str(), &oldSchema) != 0) return DiskError("read", schema);
  const std::string own = PathOf(table);
  int status = Prepare(table);
  if (status == kOk) status = MakeDirectory(own + kNew, kTreeMode);
  if (status == kOk) status = BuildRecords(table, count, change);
  if (status == kOk) status = FinishDirectory(own + kNew, old);
  if (status == kOk) {
    status = WriteFile(own + kSchema, SchemaContent(columns.Line()),
                       kSchemaMode, Sync::kNow, &oldSchema);
  }
  return status == kOk ? SyncDirectory(own) : status;
}

int CMigration::Check(const std::string& table, std::size_t count) const {
  const std::string data = DataOf(table);
  // The exchange would leave what a link leads to.
  if (!IsDirectory(data)) {
    return KIVDB_FAIL(kNotFound, "no table directory of its own [%s]",
                      data.c_str());
  }
  return ForEachEntry(data, [&](const std::string& name) {
    CStored values;
    struct stat like;
    return ReadRecord(table, name, count, values, like);
  });
}

int CMigration::ReadRecord(const std::string& table, const std::string& id,
                           std::size_t count, CStored& values,
                           struct stat& like) const {
  const std::string path = DataOf(table) + "/" + id;
  if (IsMarker(id.c_str()) || IsTemporary(id.c_str())) {
    return RefuseEntry(table, id, "no record");
  }
  if (lstat(path.c_str(), &like) != 0) return DiskError("read", path);
  if (!S_ISREG(like.st_mode)) return RefuseEntry(table, id, "no regular file");
  const int status = ReadStored(path, count, values);
  return status == kOk ? status : RefuseEntry(table, id, "no readable record");
}

int CMigration::BuildRecords(const std::string& table, std::size_t count,
                             const Change& change) {
  return ForEachEntry(DataOf(table), [&](const std::string& name) {
    CStored values;
    struct stat like;
    int status = ReadRecord(table, name, count, values, like);
    if (status == kOk) status = change(name, values);
    if (status != kOk) return status;
    return WriteFile(NewOf(table, name), StoredLine(values), kRecordMode,
                     Sync::kLater, &like);
  });
}

int CMigration::Finish(const std::string& table) {
  const std::string own = PathOf(table);
  const std::string data = DataOf(table);
  bool hasOld = false;
  bool hasSchema = false;
  bool hasNew = false;
  int status = Find(own + kOld, hasOld);
  if (status == kOk) status = Find(own + kSchema, hasSchema);
  if (status == kOk) status = Find(own + kNew, hasNew);
  if (status == kOk && hasOld) {
    status = SyncDirectory(own);
    if (status == kOk) status = SyncDirectory(ParentOf(data));
    if (status == kOk && hasSchema) {
      status = Rename(own + kSchema, SchemaOf(table));
    }
    if (status == kOk && hasNew) {
      if (rmdir(data.c_str()) != 0 && errno != ENOENT) {
        return KIVDB_FAIL(kNotEmpty,
                          "table [%s]: cannot be put in its place [%s]: %s",
                          table.c_str(), data.c_str(), strerror(errno));
      }
      status = Rename(own + kNew, data);
    }
  }
  if (status != kOk) return status;
  std::string moved;
  return m_removed.Move(("migrate/" + table).c_str(), moved);
}

int CMigration::CheckNew(const std::string& table,
                         const CRecords& records) const {
  const std::string data = DataOf(table);
  bool isThere = false;
  const int status = Find(data, isThere);
  if (status != kOk || !isThere || HoldsOnly(data, records)) return status;
  return KIVDB_FAIL(kNotEmpty, "a directory without a schema [%s]",
                    data.c_str());
}

int CMigration::Make(const std::string& table, const CSpecs& columns,
                     const CRecords& records) {
  const std::string own = PathOf(table);
  const std::string data = DataOf(table);
  int status = CheckNew(table, records);
  if (status != kOk) return status;
  status = Prepare(table);
  if (status == kOk) status = MakeDirectory(own + kNew, kTableMode);
  for (const auto& [id, line] : records) {
    if (status != kOk) break;
    status = WriteFile(NewOf(table, id), line, kRecordMode, Sync::kLater);
  }
  if (status == kOk) status = SyncFiles(own + kNew);
  if (status == kOk) {
    status = WriteFile(own + kSchema, SchemaContent(columns.Line()),
                       kSchemaMode, Sync::kNow);
  }
  if (status == kOk && !IsThere(data)) status = Rename(own + kNew, data);
  if (status == kOk) status = Rename(own + kSchema, SchemaOf(table));
  const bool isRemoved = DeleteTreeA(own.c_str());
  return status != kOk || isRemoved ? status : DiskError("remove", own);
}

int CMigration::FindUnfinished(std::vector<std::string>& tables) const {
  struct stat found;
  int status = Look(m_directory, found);
  if (status != kOk || !S_ISDIR(found.st_mode)) return status;
  status = ForEachEntry(m_directory, [&](const std::string& name) {
    const int looked = Look(PathOf(name), found);
    if (looked == kOk && S_ISDIR(found.st_mode)) tables.push_back(name);
    return looked;
  });
  std::sort(tables.begin(), tables.end());
  return status;
}

int CMigration::FinishAll(std::vector<std::string>* tables) {
  std::vector<std::string> found;
  int status = FindUnfinished(found);
  for (const std::string& table : found) {
    if (status != kOk) break;
    CFileLock lock;
    if (TakeLock(lock, DataOf(table).c_str()) == LockResult::kFailed) {
      return kInvalid;
    }
    status = Finish(table);
    if (status == kOk && tables != nullptr) tables->push_back(table);
  }
  return status == kOk ? Clean() : status;
}

int CMigration::RefuseUnfinished() const {
  std::vector<std::string> found;
  const int status = FindUnfinished(found);
  if (status != kOk || found.empty()) return status;
  return KIVDB_FAIL(kInvalid, "table [%s]: an unfinished migration: run check",
                    found.front().c_str());
}

int CMigration::Clean() const {
  struct stat found;
  const int status = Look(m_directory, found);
  if (status != kOk || !S_ISDIR(found.st_mode)) return status;
  unlink((m_directory + "/" + kStage).c_str());
  return rmdir(m_directory.c_str()) == 0 ? SyncDirectory(m_kiv) : kOk;
}

int ReadStored(const std::string& path, std::size_t count, CStored& values) {
  CStoredFields fields;
  const ReadResult result = fields.Read(AT_FDCWD, path.c_str(), count);
  if (result == ReadResult::kMissing) return kNotFound;
  if (result == ReadResult::kUnreadable) return kRecordUnreadable;
  values.clear();
  while (values.size() < count) {
    const char* value = fields.Take();
    if (value == nullptr) return kBadRecord;
    values.emplace_back(value);
  }
  return kOk;
}

}  // namespace KivDB
