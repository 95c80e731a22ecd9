// Trees of files, tables under their locks.

#include "archive/packing.h"

#include <fcntl.h>
#include <kivdb/lock.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "change.h"
#include "descriptor.h"
#include "progress.h"
#include "store.h"

namespace tool {
namespace {

struct CItem {
  CArchiveEntry entry;
  std::string content;
};
using Items = std::vector<CItem>;
using Names = std::set<std::string>;

[[noreturn]] void EndRead(const std::string& path, int error) {
  EndTrouble("kiv/" + path, WithError("cannot read", error));
}

CArchiveEntry EntryOf(const std::string& path, const struct stat& status) {
  CArchiveEntry entry;
  entry.path = path.empty() ? "kiv" : "kiv/" + path;
  entry.mode = status.st_mode;
  entry.user = status.st_uid;
  entry.group = status.st_gid;
  entry.modified = status.st_mtime;
  return entry;
}

class CPacker {
 public:
  CPacker(const CContext& context, CArchiveWriter& archive)
      : m_context(context),
        m_archive(archive),
        m_store(context.globals.root),
        m_kiv(OpenQuietly(AT_FDCWD, m_store.root() + "/kiv", O_DIRECTORY)),
        m_progress(context.globals) {
    if (!m_kiv.isOpen()) EndRead("", errno);
  }

  bool Run() {
    Items rest;
    const Names tables = Begin(rest);
    if (!Write(rest)) return false;
    for (const std::string& table : tables) {
      if (!Write(ReadTable(table))) return false;
    }
    return Write(m_schemas);
  }

 private:
  // Reads what belongs to no table, and gives the names of all tables.
  Names Begin(Items& rest) {
    const KivDB::CSchemaLock lock(m_store.root().c_str());
    RequireHeld(lock, "kiv/schema");
    RefuseMigration();
    ReadTop("", rest);
    for (const std::string& name : NamesIn(".")) {
      const bool isOfTables = name == "schema" || name == "database";
      if (!isOfTables && !IsLeftOut(name)) ReadTree(name, rest);
    }
    ReadTop("database", rest);
    ReadTop("schema", m_schemas);
    Names tables = NamesIn("schema");
    tables.merge(NamesIn("database"));
    return tables;
  }

  // The schema and the directory of a table belong together.
  Items ReadTable(const std::string& table) {
    const KivDB::CSchemaLock schemas(m_store.root().c_str());
    RequireHeld(schemas, table);
    RefuseMigration();
    const std::string path = "database/" + table;
    const CDescriptor directory =
        OpenQuietly(m_kiv.get(), path, O_DIRECTORY | O_NOFOLLOW);
    std::optional<KivDB::CTableLock> lock;
    if (directory.isOpen()) {
      lock.emplace(m_store.root().c_str(), table.c_str());
      RequireHeld(*lock, table);
    }
    m_progress.Begin(table, directory.get());
    Items items;
    ReadTree("schema/" + table, m_schemas);
    ReadTree(path, items);
    return items;
  }

  // A table may be out of its place then.
  void RefuseMigration() const {
    for (const std::string& name : NamesIn("migrate")) {
      const auto status = StatusOf("migrate/" + name);
      if (status && S_ISDIR(status->st_mode)) {
        EndTrouble(name, "an unfinished migration: run check --repair");
      }
    }
  }

  // A directory that is there, or that a link leads to, and nothing below it.
  void ReadTop(const std::string& path, Items& items) const {
    struct stat status {};
    const int found = fstatat(m_kiv.get(), path.c_str(), &status,
                              path.empty() ? AT_EMPTY_PATH : 0);
    if (found == 0 && S_ISDIR(status.st_mode)) {
      items.push_back({EntryOf(path, status), {}});
    }
  }

  // The entry and all below it, each directory before what it holds.
  void ReadTree(const std::string& top, Items& items) {
    std::vector<std::string> paths = {top};
    while (!paths.empty()) {
      const std::string path = std::move(paths.back());
      paths.pop_back();
      m_progress.Step();
      const auto status = StatusOf(path);
      if (!status) continue;  // it has gone, or never was
      if (S_ISDIR(status->st_mode)) {
        items.push_back({EntryOf(path, *status), {}});
        const Names names = NamesIn(path);
        const std::string prefix = path + "/";
        std::for_each(names.rbegin(), names.rend(), [&](const auto& name) {
          paths.push_back(prefix + name);
        });
      } else if (S_ISREG(status->st_mode)) {
        ReadFile(path, items);
      } else {
        m_progress.Erase();
        m_context.report.No("kiv/" + path, TypeName(status->st_mode) +
                                               std::string(", left out"));
      }
    }
  }

  void ReadFile(const std::string& path, Items& items) {
    const CDescriptor file = OpenQuietly(m_kiv.get(), path, O_NOFOLLOW);
    if (!file.isOpen() && errno == ENOENT) return;
    struct stat status {};
    if (!file.isOpen() || fstat(file.get(), &status) != 0) EndRead(path, errno);
    CLine content = ReadRest(file.get());
    if (content.error != 0) EndTrouble("kiv/" + path, content.Reason());
    CArchiveEntry entry = EntryOf(path, status);
    entry.size = static_cast<std::int64_t>(content.text.size());
    items.push_back({std::move(entry), std::move(content.text)});
  }

  // None where there is nothing.
  std::optional<struct stat> StatusOf(const std::string& path) const {
    struct stat status {};
    if (fstatat(m_kiv.get(), path.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
      return status;
    }
    if (errno != ENOENT && errno != ENOTDIR) EndRead(path, errno);
    return std::nullopt;
  }

  // None where there is no such directory.
  Names NamesIn(const std::string& path) const {
    const CDescriptor directory = OpenQuietly(m_kiv.get(), path, O_DIRECTORY);
    if (!directory.isOpen() && (errno == ENOENT || errno == ENOTDIR)) return {};
    if (!directory.isOpen()) EndRead(path, errno);
    Names names;
    const int error = WalkEntries(directory.get(), [&](const dirent& entry) {
      names.insert(entry.d_name);
      return true;
    });
    if (error != 0) EndRead(path, error);
    return names;
  }

  bool Write(const Items& items) {
    return std::all_of(items.begin(), items.end(), [&](const CItem& item) {
      m_archive.Write(item.entry, item.content);
      return !m_context.out.IsBroken();
    });
  }

  const CContext& m_context;
  CArchiveWriter& m_archive;
  const CStore m_store;
  const CDescriptor m_kiv;
  CProgress m_progress;
  Items m_schemas;  // written last: with them a database is there
};

}  // namespace

bool IsLeftOut(const std::string& name) {
  return name == "removed" || name == "migrate" || name == "lost+found";
}

bool Pack(const CContext& context, CArchiveWriter& archive) {
  return CPacker(context, archive).Run();
}

}  // namespace tool
