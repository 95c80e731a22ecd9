// Reading directories, schema files and records.

#include "store.h"

#include <dirent.h>
#include <fcntl.h>
#include <kivdb/escape.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "patient_lock.h"
#include "report.h"

namespace tool {
namespace {

constexpr std::size_t kPiece = 4096;

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

// Reads up to the end of the file, or to its first line feed.
CLine ReadOpened(int file, bool isWhole) {
  struct stat status {};
  if (fstat(file, &status) != 0) return {errno, {}};
  if (!S_ISREG(status.st_mode)) return {EINVAL, {}};
  CLine line;
  for (;;) {
    const std::size_t old = line.text.size();
    line.text.resize(old + kPiece);
    const ssize_t length = read(file, line.text.data() + old, kPiece);
    const int error = length < 0 ? errno : 0;
    line.text.resize(old +
                     static_cast<std::size_t>(std::max(length, ssize_t{0})));
    if (error == EINTR) continue;
    if (error != 0) return {error, {}};
    const std::size_t feed =
        isWhole ? line.text.npos : line.text.find('\n', old);
    if (feed != line.text.npos) line.text.resize(feed);
    if (length == 0 || feed != line.text.npos) return line;
  }
}

CLine ReadFile(int directory, const std::string& path, bool isWhole) {
  const CDescriptor file = OpenQuietly(directory, path);
  return file.isOpen() ? ReadOpened(file.get(), isWhole) : CLine{errno, {}};
}

int WalkNames(int directory,
              const std::function<bool(const char* name)>& visit) {
  return WalkEntries(directory,
                     [&](const dirent& entry) { return visit(entry.d_name); });
}

// A database has a schema directory.
CDescriptor OpenSchemas(const std::string& root) {
  CDescriptor schemas =
      OpenQuietly(AT_FDCWD, root + "/kiv/schema", O_DIRECTORY);
  if (schemas.isOpen()) return schemas;
  if (errno == ENOENT || errno == ENOTDIR) {
    EndTrouble("", "no database below " + root);
  }
  EndTrouble(root, strerror(errno));
}

}  // namespace

CDescriptor OpenQuietly(int directory, const std::string& path, int flags) {
  flags |= O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  CDescriptor file(openat(directory, path.c_str(), flags | O_NOATIME));
  if (file.isOpen() || errno != EPERM) return file;
  return CDescriptor(openat(directory, path.c_str(), flags));
}

std::string CLine::Reason() const {
  return error == EINVAL ? "no regular file" : strerror(error);
}

int WalkEntries(int directory,
                const std::function<bool(const dirent& entry)>& visit) {
  // Of its own, as a walk moves the descriptor's place.
  CDescriptor copy = OpenQuietly(directory, ".", O_DIRECTORY);
  const Directory stream(copy.isOpen() ? fdopendir(copy.get()) : nullptr);
  if (!stream) return errno;
  copy.release();
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(stream.get());
    if (entry == nullptr) return errno;
    const char* name = entry->d_name;
    const bool isDots =
        std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
    if (!isDots && !visit(*entry)) return 0;
  }
}

CLine ReadLine(int directory, const std::string& path) {
  return ReadFile(directory, path, false);
}

CLine ReadWhole(int directory, const std::string& path) {
  return ReadFile(directory, path, true);
}

CLine ReadRest(int file) { return ReadOpened(file, true); }

bool IsComponent(const std::string& name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find('/') == name.npos && name.find('\0') == name.npos;
}

EntryKind KindOf(std::string_view name) {
  if (name.find(".ADD") != name.npos || name.find(".UPDATE") != name.npos) {
    return EntryKind::kMarker;
  }
  constexpr std::string_view kSuffix = ".tmp";
  const bool isTemporary = name.size() >= kSuffix.size() &&
                           name.substr(name.size() - kSuffix.size()) == kSuffix;
  return isTemporary ? EntryKind::kTemporary : EntryKind::kRecord;
}

bool IdsInOrder(const std::string& a, const std::string& b) {
  const bool isNumber = IsCanonicalId(a);
  if (isNumber != IsCanonicalId(b)) return isNumber;
  if (!isNumber) return a < b;
  return std::stol(a) < std::stol(b);
}

std::vector<std::string_view> SplitLine(std::string_view line,
                                        std::size_t wanted) {
  line = line.substr(0, line.find('\0'));  // where the library stops, too
  std::vector<std::string_view> values;
  while (!line.empty() && values.size() < wanted) {
    values.push_back(line.substr(0, line.find('|')));
    line.remove_prefix(std::min(values.back().size() + 1, line.size()));
  }
  return values;
}

std::string ReadValue(std::string_view stored) {
  std::string value = KivDB::Unescape(stored);
  if (value.size() > kValueMax) value.resize(kValueMax);
  return value;
}

std::optional<CRecord> ParseRecord(const CSchema& schema, const std::string& id,
                                   std::string line, std::string& reason) {
  CRecord record{id, std::move(line), {id}};
  const std::size_t wanted = schema.columns.size() - 1;
  const auto values = SplitLine(record.line, wanted);
  if (record.line.empty() || values.size() < wanted) {
    reason = record.line.empty() ? "empty record"
                                 : std::to_string(values.size()) + " of " +
                                       std::to_string(wanted) + " values";
    return std::nullopt;
  }
  for (const std::string_view stored : values) {
    record.values.push_back(ReadValue(stored));
  }
  return record;
}

CStore::CStore(const std::string& root) : m_root(root) { OpenSchemas(root); }

std::string CStore::PathOf(const std::string& table) const {
  return m_root + "/kiv/database/" + table;
}

std::string CStore::SchemaPathOf(const std::string& table) const {
  return m_root + "/kiv/schema/" + table;
}

std::vector<std::string> CStore::Tables() const {
  std::vector<std::string> tables;
  const int error = WalkNames(OpenSchemas(m_root).get(), [&](const char* name) {
    tables.emplace_back(name);
    return true;
  });
  if (error != 0) EndTrouble("", WithError("cannot list the tables", error));
  std::sort(tables.begin(), tables.end());
  return tables;
}

CSchema CStore::Schema(const std::string& table) const {
  if (!IsComponent(table)) EndTrouble(table, "no such table");
  const CLine line = ReadLine(AT_FDCWD, SchemaPathOf(table));
  if (line.error == ENOENT) EndTrouble(table, "no such table");
  if (line.error != 0) {
    EndTrouble(table, "cannot read the schema: " + line.Reason());
  }
  CSchema schema = ParseSchema(line.text);
  if (schema.columns.empty()) EndTrouble(table, "the schema has no column");
  return schema;
}

CTableReader::CTableReader(const CStore& store, const std::string& table)
    : m_name(table),
      m_schema(store.Schema(table)),
      m_directory(OpenQuietly(AT_FDCWD, store.PathOf(table), O_DIRECTORY)),
      m_error(m_directory.isOpen() ? 0 : errno) {}

void CTableReader::Require() const {
  if (m_error == ENOENT) EndTrouble(m_name, "no table directory");
  if (m_error != 0) {
    EndTrouble(m_name, WithError("cannot read the table", m_error));
  }
}

void CTableReader::ForEachName(
    const std::function<bool(const char* name)>& visit) const {
  Walk([&](CPatientLock& lock, const char* name) {
    lock.Release();
    return visit(name);
  });
}

template <typename Visit>
void CTableReader::Walk(Visit visit) const {
  Require();
  CPatientLock lock(directory(), !m_isLocked);
  const int error = WalkNames(
      directory(), [&](const char* name) { return visit(lock, name); });
  if (error != 0) {
    EndTrouble(m_name, WithError("cannot read the table", error));
  }
}

std::vector<std::string> CTableReader::Ids() const {
  std::vector<std::string> ids;
  Walk([&](CPatientLock& /*lock*/, const char* name) {
    if (KindOf(name) == EntryKind::kRecord) ids.emplace_back(name);
    return true;
  });
  std::sort(ids.begin(), ids.end(), IdsInOrder);
  return ids;
}

bool CTableReader::Has(const std::string& name) const {
  struct stat status {};
  if (fstatat(directory(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
    return true;
  }
  const bool isMissing = !IsThere() || errno == ENOENT || errno == ENOTDIR ||
                         errno == ENAMETOOLONG;
  if (isMissing) return false;
  EndTrouble(m_name + "/" + name, WithError("cannot be read", errno));
}

EntryType CTableReader::TypeOf(const std::string& name) const {
  struct stat status {};
  const auto look = [&](int flags) {
    return fstatat(directory(), name.c_str(), &status, flags) == 0;
  };
  if (!look(AT_SYMLINK_NOFOLLOW)) return EntryType::kNone;
  if (S_ISLNK(status.st_mode) && !look(0)) return EntryType::kOther;
  return S_ISREG(status.st_mode) ? EntryType::kFile : EntryType::kOther;
}

std::optional<CRecord> CTableReader::Read(const std::string& id,
                                          std::string& reason) const {
  reason.clear();
  CLine line = ReadLine(directory(), id);
  if (line.error == ENOENT) {
    // Between the two steps of a save there is no file of that name.
    const CPatientLock lock(directory(), !m_isLocked);
    line = ReadLine(directory(), id);
  }
  if (line.error == ENOENT && !Has(id)) return std::nullopt;
  if (line.error != 0) {
    reason = line.Reason();
    return std::nullopt;
  }
  return ParseRecord(m_schema, id, std::move(line.text), reason);
}

}  // namespace tool
