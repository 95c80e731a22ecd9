// Adding tables to a database.

#include <kivdb/database.h>
#include <kivdb/status.h>
#include <kivdb/utils.h>
#include <sys/stat.h>

#include <cstring>
#include <string>
#include <string_view>

#include "base/descriptor.h"
#include "core/format.h"
#include "core/heap_text.h"
#include "core/locked.h"
#include "core/log.h"
#include "core/no_throw.h"
#include "core/null_text.h"
#include "core/path.h"
#include "core/sync.h"
#include "database/creation_file.h"
#include "database/fingerprint.h"
#include "zel.h"

namespace KivDB {
namespace {

constexpr int kSchemaFlags =
    O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOFOLLOW;

// Appends the schema's spec of one entry "name(type)".  An entry without "(" is
// name and type at once.
int AppendSpec(std::string_view entry, std::string& schema) {
  const std::size_t open = entry.find('(');
  const std::size_t close = entry.find(')');
  if (open == 0 || close == 0) return kSyntax;
  const std::size_t begin = open == entry.npos ? 0 : open + 1;
  const std::size_t end =
      close == entry.npos || close < begin ? entry.size() : close;
  const std::string_view type = entry.substr(begin, end - begin);
  if (type != "int" && type != "varchar") return kUnknownType;
  if (!schema.empty()) schema += kSeparator;
  schema.append(entry.substr(0, open)).append("[").append(type).append("]");
  return kOk;
}

// Changes columns, a description "name(type),name(type)".
int BuildSchema(char* columns, std::string& schema) {
  CUtils::strstrip(columns);
  while (const char* entry = StringGetNextA(&columns, ',')) {
    const int status = AppendSpec(entry, schema);
    if (status != kOk) return status;
  }
  return kOk;
}

}  // namespace

int CKivDatabase::AddTable(const char* name, const char* columns) {
  name = TextOrEmpty(name);
  if (GetTable(name) != nullptr) {
    return KIVDB_FAIL(kInvalid, "table [%s] already exist", name);
  }
  if (columns == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  const HeapText copy(strdup(columns));
  if (copy == nullptr) return KIVDB_FAIL(kNoMemory, "can't strdup");
  return NoThrow([&] {
    std::string schema;
    const int status = BuildSchema(copy.get(), schema);
    return status == kOk ? MakeTable(name, schema.c_str(), false) : status;
  });
}

int CKivDatabase::CheckAddTable(const char* name, const char* inifile) {
  name = TextOrEmpty(name);
  if (GetTable(name) != nullptr) return kOk;
  if (inifile == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  SchemaValue schema;
  if (!CCreationFile(inifile).ReadSchema(name, schema)) {
    return KIVDB_FAIL(kNoRecord,
                      "Can't get table [%s] schema information from inifile "
                      "[%s]",
                      name, inifile);
  }
  return NoThrow([&] { return MakeTable(name, schema, true); });
}

// Makes the table's schema file and directory, opens the table and registers
// it.  logsCode: whether the line of a failed opening carries its code; the one
// of AddTable never has.
int CKivDatabase::MakeTable(const char* name, const char* schema,
                            bool logsCode) {
  // To the end: another process may be adding the same table.
  CFileLock lock;
  int status = LockSchemas(lock, name);
  if (status == kOk) status = createSchemaF(name, schema);
  if (status != kOk) {
    return KIVDB_FAIL(status, "creat schema error [%s]", name);
  }
  createTableF(name);
  SyncTable(name);
  SyncPath(CPath(m_path, kSchemaDirectory).text());
  SyncPath(CPath(m_path, kDataDirectory).text());
  status = OpenTable(name);
  if (status != kOk) KIVDB_ERROR(logsCode ? status : kOk, "open table error");
  return status;
}

// Forces what was made for a table to disk, but for its two names.
void CKivDatabase::SyncTable(const char* name) const {
  SyncPath(CPath(m_path, kSchemaDirectory, name).text());
  SyncPath(CPath(m_path, kDataDirectory, name).text());
}

int CKivDatabase::LockSchemas(CFileLock& lock, const char* name) const {
  const CPath directory(m_path, kSchemaDirectory);
  if (TakeLock(lock, directory.text()) != LockResult::kFailed) return kOk;
  return KIVDB_FAIL(kSchemaUnreadable, "failed to create schema file: %s",
                    CPath(directory.text(), name).text());
}

// Written in place, and nothing looks at how much of it reached the disk.
int CKivDatabase::createSchemaF(const char* name, const char* schema) {
  if (schema == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  name = TextOrEmpty(name);
  const CPath path(m_path, kSchemaDirectory, name);
  const std::size_t length = std::strlen(schema);
  char fingerprint[kFingerprintSize];
  MakeFingerprint(schema, length, fingerprint);
  CFileLock lock;
  const int status = LockSchemas(lock, name);
  if (status != kOk) return status;
  if (IsPathComponent(name)) {
    const CDescriptor file(path.text(), kSchemaFlags, kSchemaMode);
    if (file.IsOpen()) {
      safe_write(file.Get(), schema, length);
      safe_write(file.Get(), "\n", 1);
      safe_write(file.Get(), fingerprint, std::strlen(fingerprint));
      return kOk;
    }
  }
  return KIVDB_FAIL(kSchemaUnreadable, "failed to create schema file: %s",
                    path.text());
}

int CKivDatabase::createTableF(const char* name) {
  name = TextOrEmpty(name);
  if (IsPathComponent(name)) {
    mkdir(CPath(m_path, kDataDirectory, name).text(), kTableMode);
  }
  return kOk;
}

}  // namespace KivDB
