// Creating a database from a creation file.

#include <kivdb/database.h>
#include <kivdb/status.h>
#include <unistd.h>

#include <cstring>

#include "core/log.h"
#include "core/no_throw.h"
#include "core/null_text.h"
#include "core/path.h"
#include "core/sync.h"
#include "database/creation_file.h"
#include "zel.h"

namespace KivDB {
namespace {

// Of two paths on one way down, the one that ends first.
const CPath& Upper(const CPath& a, const CPath& b) {
  return std::strlen(a.text()) <= std::strlen(b.text()) ? a : b;
}

}  // namespace

int CKivDatabase::Create(const char* inifile, int id, const char* host) {
  if (inifile == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  m_id = id != 0 ? id : 1;
  SetHost(host);
  if (!RequireRoot()) return kInvalid;
  if (zel_access(inifile, F_OK) != 0) {
    return KIVDB_FAIL(kInvalid, "can't find ini file at [%s]", inifile);
  }
  const CPath schemas(m_path, kSchemaDirectory);
  const CPath data(m_path, kDataDirectory);
  const CPath top = Upper(NearestExisting(schemas), NearestExisting(data));
  const int status = NoThrow([&] { return CreateTables(inifile); });
  SyncPath(data.text());
  SyncUpTo(top, schemas);
  return status;
}

int CKivDatabase::CreateTables(const char* inifile) {
  int status = MakeTree(kSchemaDirectory);
  if (status == kOk) status = MakeTree(kDataDirectory);
  if (status != kOk) return status;

  CCreationFile file(inifile);
  if (!file.ReadNames()) {
    return KIVDB_FAIL(kNoRecord, "Can't get value [%s]", inifile);
  }
  while (const char* name = file.NextName()) {
    status = CreateTable(name, file);
    if (status != kOk) break;
  }
  return status;
}

int CKivDatabase::MakeTree(const char* directory) {
  const CPath path(m_path, directory);
  if (CreateTreeA(path.text(), kTreeMode)) return kOk;
  return KIVDB_FAIL(kInvalid, "Create Tree [%s] failed", path.text());
}

int CKivDatabase::CreateTable(const char* name, const CCreationFile& file) {
  SchemaValue schema;
  if (!file.ReadSchema(name, schema)) return kNoRecord;
  const int status = createSchemaF(name, schema);
  if (status != kOk) return status;
  createTableF(name);
  SyncTable(name);
  return insertRecordsFromIni(name, file.path());
}

int CKivDatabase::insertRecordsFromIni(const char* name, const char* inifile) {
  if (inifile == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  KIVDB_TRACE("%s: Insert record from table=%s, inifile=%s",
              "insertRecordsFromIni", TextOrEmpty(name), inifile);
  return NoThrow([&]() -> int {
    CTable table(m_path, name);
    const int status = table.Open();
    if (status != kOk) return KIVDB_FAIL(status, "Can't get table");
    return InsertRecords(table, CCreationFile(inifile));
  });
}

int CKivDatabase::InsertRecords(CTable& table, const CCreationFile& file) {
  RecordValue record;
  for (int i = 1; file.ReadRecord(table.name(), i, record); ++i) {
    int status = ReplacePlaceholders(record, sizeof(record), m_id, m_host);
    if (status == kOk) status = table.addRecord(record, nullptr, 0);
    if (status != kOk) return status;
  }
  return kOk;
}

}  // namespace KivDB
