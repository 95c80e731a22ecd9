// Reading creation files, and writing the one that is kept.

#include "upgrade/shipped.h"

#include <kivdb/status.h>
#include <kivdb/utils.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "core/format.h"
#include "core/log.h"
#include "core/path.h"
#include "core/record_id.h"
#include "database/creation_file.h"
#include "database/fingerprint.h"
#include "zel.h"

namespace KivDB {
namespace {

constexpr char kIdKey[] = "kivid";
constexpr char kHostKey[] = "kivhost";
constexpr char kOriginKey[] = "kivorigin";

bool NeedsPlace(const std::string& text) {
  return text.find(kIdPlaceholder) != text.npos ||
         text.find(kHostPlaceholder) != text.npos;
}

// Puts the placeholders in, and cuts as adding a record does.
int Expand(const CPlace& place, std::string& field) {
  RecordValue text;
  zelstrcpy(text, field.c_str(), sizeof(text));
  const int status =
      ReplacePlaceholders(text, sizeof(text), place.id, place.host.c_str());
  if (status == kOk) field.assign(text, strnlen(text, kValueSize - 1));
  return status;
}

// The fields of a record, trimmed.
CStored SplitFields(char* text) {
  CStored fields;
  while (char* field = StringGetNextA(&text, ',')) {
    CUtils::trim(field);
    fields.emplace_back(field);
  }
  return fields;
}

class CLoader {
 public:
  CLoader(const std::string& path, CShippedFile& shipped)
      : m_file(path.c_str()), m_shipped(shipped) {}

  int Load(bool isBase) {
    if (zel_access(m_file.path(), F_OK) != 0) {
      return KIVDB_FAIL(kInvalid, "can't find ini file at [%s]", m_file.path());
    }
    if (!m_file.ReadNames()) {
      return KIVDB_FAIL(kNoRecord, "Can't get value [%s]", m_file.path());
    }
    m_shipped.section = m_file.FirstName();
    if (isBase) ReadSection();
    int status = kOk;
    while (const char* name = status == kOk ? m_file.NextName() : nullptr) {
      CShippedTable table;
      table.name = name;
      status = ReadTable(table);
      m_shipped.tables.push_back(std::move(table));
    }
    return status;
  }

 private:
  void ReadSection() {
    RecordValue value;
    const char* section = m_shipped.section.c_str();
    CPlace& place = m_shipped.place;
    if (m_file.ReadValue(section, kIdKey, value, sizeof(value))) {
      place.id = static_cast<int>(zel_strtol(value, nullptr, 10));
    }
    if (m_file.ReadValue(section, kHostKey, value, sizeof(value))) {
      place.host = value;
    }
    if (m_file.ReadValue(section, kOriginKey, value, sizeof(value))) {
      m_shipped.origin = value;
    }
  }

  int Refuse(const CShippedTable& table, const char* what) const {
    return KIVDB_FAIL(kSyntax, "%s: table [%s]: %s", m_file.path(),
                      table.name.c_str(), what);
  }

  int ReadTable(CShippedTable& table) const {
    SchemaValue schema;
    const char* name = table.name.c_str();
    if (!IsPathComponent(name)) return Refuse(table, "no name of a table");
    if (!m_file.ReadSchema(name, schema)) return Refuse(table, "no schema");
    if (!table.columns.Parse(schema)) return Refuse(table, "damaged schema");
    RecordValue record;
    int status = kOk;
    for (int i = 1; status == kOk && m_file.ReadRecord(name, i, record); ++i) {
      status = ReadRecord(table, record);
    }
    return status;
  }

  int ReadRecord(CShippedTable& table, char* text) const {
    const CPlace& place = m_shipped.place;
    CStored fields = SplitFields(text);
    if (fields.size() != table.columns.size()) {
      return Refuse(table, "a record without a value for each column");
    }
    std::string id = fields.front();
    fields.erase(fields.begin());
    CShippedRecord record{fields, std::move(fields), false};
    int status = ReadId(table, id);
    for (std::string& value : record.values) {
      if (status != kOk) return status;
      record.isOpen |= NeedsPlace(value) && !place.IsKnown();
      status = Expand(place, value);
      if (value.find(kSeparator) != value.npos) {
        return Refuse(table, "a value with | ends at it: write \\x7c");
      }
    }
    table.records[static_cast<int>(LeadingId(id.c_str()))] = std::move(record);
    return status;
  }

  int ReadId(const CShippedTable& table, std::string& id) const {
    if (!NeedsPlace(id) || m_shipped.place.IsKnown()) {
      return Expand(m_shipped.place, id);
    }
    return KIVDB_FAIL(kInvalid,
                      "table [%s]: an id depends on the id or the host of the "
                      "database: give both",
                      table.name.c_str());
  }

  CCreationFile m_file;
  CShippedFile& m_shipped;
};

bool HasOuterBlanks(const std::string& text) {
  constexpr char kBlanks[] = " \t\n\v\f\r";
  return !text.empty() && (std::strchr(kBlanks, text.front()) != nullptr ||
                           std::strchr(kBlanks, text.back()) != nullptr);
}

// What must stand in an ini file to be read as the value, in which \x22 stands
// for a quote as well.
std::string IniValue(std::string value) {
  const bool isPlain =
      !HasOuterBlanks(value) && (value.empty() || value.front() != '"');
  if (isPlain) return value;
  for (std::size_t at = 0; (at = value.find('"', at)) != value.npos;) {
    value.replace(at, 1, "\\x22");
  }
  return '"' + value + '"';
}

std::string RecordValueOf(int id, const CStored& fields) {
  std::string text = std::to_string(id);
  for (const std::string& field : fields) text.append(",").append(field);
  if (fields.back().empty()) text += ' ';  // or it would not count
  return IniValue(text);
}

void AppendLine(const std::string& key, const std::string& value,
                std::string& text) {
  text.append(key).append(" = ").append(value).append("\n");
}

}  // namespace

const CShippedRecord* CShippedTable::Find(int id) const {
  const auto found = records.find(id);
  return found != records.end() ? &found->second : nullptr;
}

const std::string* CShippedTable::Value(const CStored& values,
                                        const std::string& column) const {
  const auto place = columns.Find(column);
  return place && *place > 0 ? &values[*place - 1] : nullptr;
}

const CShippedTable* CShippedFile::Find(const std::string& table) const {
  const auto found =
      std::find_if(tables.begin(), tables.end(),
                   [&](const CShippedTable& own) { return own.name == table; });
  return found != tables.end() ? &*found : nullptr;
}

// Twice: a key that could not be read looks like one that is not there, and
// what is not shipped any more may be deleted.
int CShippedFile::Load(const std::string& path, const CPlace& given,
                       bool isBase) {
  place = given;
  CShippedFile again = *this;
  int status = CLoader(path, *this).Load(isBase);
  if (status == kOk) status = CLoader(path, again).Load(isBase);
  if (status != kOk || Text() == again.Text()) return status;
  return KIVDB_FAIL(kNoRecord, "Can't get value [%s]", path.c_str());
}

std::string CShippedFile::Text() const {
  std::string text = "[" + section + "]\n";
  if (place.id != 0) AppendLine(kIdKey, std::to_string(place.id), text);
  if (!place.host.empty()) AppendLine(kHostKey, IniValue(place.host), text);
  if (!origin.empty()) AppendLine(kOriginKey, origin, text);
  for (const CShippedTable& table : tables) {
    text.append("\n[").append(table.name).append("]\n");
    AppendLine("schema", IniValue(table.columns.Line()), text);
    int number = 0;
    for (const auto& [id, record] : table.records) {
      const std::string value = RecordValueOf(id, record.templates);
      // What would be cut is left out, as if it had not been delivered.
      if (value.size() >= kIniRecordSize) continue;
      AppendLine("rec_" + std::to_string(++number), value, text);
    }
  }
  return text;
}

std::string CShippedFile::Fingerprint() const {
  const std::string text = Text();
  char fingerprint[kFingerprintSize];
  MakeFingerprint(text.c_str(), text.size(), fingerprint);
  return fingerprint;
}

}  // namespace KivDB
