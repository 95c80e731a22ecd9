// Creating a database from a creation file.

#include <kivdb/database.h>
#include <kivdb/status.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "core/log.h"
#include "core/no_throw.h"
#include "core/path.h"
#include "core/text_buffer.h"
#include "database/creation_file.h"
#include "zel.h"

namespace KivDB {
namespace {

constexpr mode_t kTreeMode = 0700;
constexpr unsigned int kListSize = 4095;
constexpr unsigned int kRecordSize = 4095;
constexpr std::size_t kNumberSize = 128;

// Reads the names of the sections, each with its NUL and an empty one last.
int ReadSections(const char* inifile, CTextBuffer& list) {
  int length = InifileGetValueA(nullptr, nullptr, list.data(), kListSize,
                                nullptr, inifile);
  if (length > static_cast<int>(kListSize)) {
    const auto size = static_cast<unsigned int>(length);
    if (!list.Reserve(size)) return KIVDB_FAIL(kNoMemory, "no memory");
    std::memset(list.data(), 0, size + 1);
    length =
        InifileGetValueA(nullptr, nullptr, list.data(), size, nullptr, inifile);
  }
  if (length >= 1) return kOk;
  return KIVDB_FAIL(kNoRecord, "Can't get value [%s]", inifile);
}

}  // namespace

int CKivDatabase::Create(const char* inifile, int id, const char* host) {
  if (inifile == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  m_id = id != 0 ? id : 1;
  SetHost(host);
  if (!HasRoot()) return kInvalid;
  if (zel_access(inifile, F_OK) != 0) {
    return KIVDB_FAIL(kInvalid, "can't find ini file at [%s]", inifile);
  }
  int status = MakeTree(kSchemaDirectory);
  if (status == kOk) status = MakeTree(kDataDirectory);
  if (status != kOk) return status;

  CTextBuffer sections;
  status = ReadSections(inifile, sections);
  char* next = sections.data();
  StringGetNextA(&next, '\0');  // the first section is no table
  while (status == kOk) {
    const char* name = StringGetNextA(&next, '\0');
    if (name == nullptr) break;
    status = CreateTable(name, inifile);
  }
  return status;
}

int CKivDatabase::MakeTree(const char* directory) {
  const CPath path(m_path, directory);
  if (CreateTreeA(path.text(), kTreeMode)) return kOk;
  return KIVDB_FAIL(kInvalid, "Create Tree [%s] failed", path.text());
}

int CKivDatabase::CreateTable(const char* name, const char* inifile) {
  char schema[kValueSize];
  if (!ReadSchemaValue(name, inifile, schema)) return kNoRecord;
  const int status = createSchemaF(name, schema);
  if (status != kOk) return status;
  createTableF(name);
  return insertRecordsFromIni(name, inifile);
}

int CKivDatabase::insertRecordsFromIni(const char* name, const char* inifile) {
  if (inifile == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  KIVDB_TRACE("%s: Insert record from table=%s, inifile=%s",
              "insertRecordsFromIni", TextOrEmpty(name), inifile);
  return NoThrow<int>(kNoMemory, [&] {
    CTable table(m_path, name);
    const int status = table.Open();
    if (status != kOk) return KIVDB_FAIL(status, "Can't get table");
    return InsertRecords(table, inifile);
  });
}

int CKivDatabase::InsertRecords(CTable& table, const char* inifile) {
  for (int i = 1;; ++i) {
    char key[kNumberSize];
    std::snprintf(key, sizeof(key), "rec_%i", i);
    char record[kRecordSize];
    const int length = InifileGetValueA(table.name(), key, record,
                                        sizeof(record), nullptr, inifile);
    if (length == 0) return kOk;
    // The file has become unreadable: records would be missing without notice.
    if (length < 0) {
      return KIVDB_FAIL(kNoRecord, "Can't get value [%s]", inifile);
    }
    int status = ReplacePlaceholders(record, sizeof(record));
    if (status == kOk) status = table.addRecord(record, nullptr, 0);
    if (status != kOk) return status;
  }
}

int CKivDatabase::ReplacePlaceholders(char* record, unsigned int size) const {
  char id[kNumberSize];
  std::snprintf(id, sizeof(id), "%i", m_id);
  const struct {
    const char* name;
    const char* value;
  } placeholders[] = {
      {"{{$kivid}}", id},
      {"{{$kivhost}}", m_host},
      {"{{$kivversion}}", "1.0"},
  };
  for (const auto& p : placeholders) {
    if (StringFindAndReplaceA(record, size, p.name, p.value) == nullptr) {
      return KIVDB_FAIL(kNoReplacement, "Unable to replace %s", p.name);
    }
  }
  return kOk;
}

}  // namespace KivDB
