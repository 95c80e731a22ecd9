// Dropping tables and the database.

#include <kivdb/database.h>
#include <kivdb/status.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "core/locked.h"
#include "core/log.h"
#include "core/null_text.h"
#include "core/path.h"
#include "zel.h"

namespace KivDB {
namespace {

// The last holds the others.
constexpr const char* kTrees[] = {kSchemaDirectory, kDataDirectory,
                                  kTopDirectory};

int TreeError(const CPath& path) {
  return KIVDB_FAIL(kInvalid, "can delete dir [%s] reason [%s]", path.text(),
                    strerror(errno));
}

}  // namespace

int CKivDatabase::DropTable(CTable* table) {
  if (table == nullptr) return KIVDB_FAIL(kInvalid, "parameter null");
  CFileLock schemas;
  if (TakeLock(schemas, CPath(m_path, kSchemaDirectory).text()) ==
      LockResult::kFailed) {
    return kInvalid;
  }
  const int status = RemoveDirectory(table);
  if (status != kOk) return status;
  const CPath schema(m_path, kSchemaDirectory, table->name());
  if (unlink(schema.text()) != 0) {
    return KIVDB_FAIL(kInvalid, "can't unlink [%s], reason [%s]", schema.text(),
                      strerror(errno));
  }
  return kOk;
}

// Nobody adds a record between the count and the removal.  A table whose
// records cannot be counted may have some.
int CKivDatabase::RemoveDirectory(CTable* table) {
  const CPath directory(m_path, kDataDirectory, table->name());
  CFileLock lock;
  if (TakeLock(lock, directory.text()) == LockResult::kFailed ||
      table->records() != 0) {
    return KIVDB_FAIL(kNotEmpty, "the table is not empty");
  }
  if (rmdir(directory.text()) != 0) {
    return KIVDB_FAIL(kInvalid, "can't rmdir [%s], reason [%s]",
                      directory.text(), strerror(errno));
  }
  return kOk;
}

int CKivDatabase::DropTable(const char* name) {
  name = TextOrEmpty(name);
  CTable* table = GetTable(name);
  if (table == nullptr) {
    // The line has always had another code than the result.
    KIVDB_ERROR(kNotEmpty, "table %s does not exist", name);
    return kNotFound;
  }
  const int status = DropTable(table);
  if (status != kOk) {
    return KIVDB_FAIL(status, "can't drop table [%s]", name);
  }
  Forget(table);
  return kOk;
}

// Takes a dropped table out of the database and destroys it.
void CKivDatabase::Forget(CTable* table) {
  m_tables.erase(std::find(m_tables.begin(), m_tables.end(), table));
  --m_tableCount;
  delete table;
}

int CKivDatabase::drop() {
  if (!RequireRoot()) return kInvalid;
  const int refused = RefuseCutPaths();
  if (refused != kOk) return refused;
  while (!m_tables.empty()) {
    CTable* table = m_tables.front();
    int status = table->clear();
    if (status != kOk) {
      return KIVDB_FAIL(status, "can't clear talbe [%s]", table->name());
    }
    status = DropTable(table);
    if (status != kOk) {
      return KIVDB_FAIL(status, "can't Drop table [%s]", table->name());
    }
    Forget(table);
  }
  for (const char* tree : kTrees) {
    const CPath path(m_path, tree);
    if (!DeleteTreeA(path.text())) return TreeError(path);
  }
  return kOk;
}

// A path that was cut is that of something else: the root itself, maybe.
int CKivDatabase::RefuseCutPaths() const {
  errno = ENAMETOOLONG;
  for (const char* tree : kTrees) {
    const CPath path(m_path, tree);
    if (path.IsCut()) return TreeError(path);
    for (const CTable* table : m_tables) {
      const CPath below(path.text(), table->name());
      if (below.IsCut()) return TreeError(below);
    }
  }
  return kOk;
}

}  // namespace KivDB
