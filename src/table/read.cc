// The current record: reading it and getting its values.

#include <fcntl.h>
#include <kivdb/status.h>
#include <kivdb/table.h>

#include <algorithm>
#include <cstring>

#include "core/first_line.h"
#include "core/log.h"
#include "core/path.h"
#include "core/text.h"
#include "zel.h"

namespace KivDB {

// Without a table path an id would name a file of the root directory, and one
// that does not fit behind it could be cut to that of another record.
bool CTable::NamesRecord(const char* id) const {
  const std::size_t length = std::strlen(m_tablePath);
  return length > 0 && length + 1 + std::strlen(id) < kPathBound &&
         IsPathComponent(id);
}

int CTable::readRecord(const char* id) {
  if (id == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  CTextBuffer line;
  return LoadRecord(AT_FDCWD, CPath(m_tablePath, id).text(), id, line);
}

// path is relative to directory, as ReadFirstLine takes it.  On kOk line holds
// the fields as they are stored, each with a NUL for its separator.
int CTable::LoadRecord(int directory, const char* path, const char* id,
                       CTextBuffer& line) {
  const std::size_t fields = m_columns.empty() ? 0 : m_columns.size() - 1;
  FirstLine result = FirstLine::kUnreadable;
  if (NamesRecord(id)) result = ReadFirstLine(directory, path, fields, line);
  switch (result) {
    case FirstLine::kUnreadable:
      return KIVDB_FAIL(kRecordUnreadable, "failed to open record file: %s",
                        CPath(m_tablePath, id).text());
    case FirstLine::kNoMemory:
      return kNoMemory;
    case FirstLine::kRead:
      break;
  }
  if (line.size() == 0) {
    return KIVDB_FAIL(kBadRecord, "record length is 0, error");
  }
  return SetValues(id, line.data());
}

// Cuts the fields apart where they stand.
int CTable::SetValues(const char* id, char* fields) {
  std::size_t count = 0;
  for (CColumn* column : m_columns) {
    const char* value = id;
    char unescaped[kValueSize];
    if (count > 0) {
      const char* field = StringGetNextA(&fields, '|');
      if (field == nullptr) break;
      value = StringUnescapeA(field, unescaped, sizeof(unescaped));
    }
    const int status = column->SetData(value);
    if (status != kOk) return status;
    ++count;
  }
  if (count == m_columns.size()) return kOk;
  return KIVDB_FAIL(kBadRecord, "can't readRecord: record's content error");
}

std::vector<CColumn*>::const_iterator CTable::FindColumn(
    const char* key) const {
  return std::find_if(
      m_columns.begin(), m_columns.end(),
      [&](const CColumn* c) { return std::strcmp(c->name(), key) == 0; });
}

CColumn* CTable::getcolumn(const char* name) {
  const auto found = FindColumn(TextOrEmpty(name));
  return found != m_columns.end() ? *found : nullptr;
}

int CTable::GetValStr(const char* key, char* buf, unsigned int size) {
  const CColumn* column = getcolumn(key);
  if (column != nullptr) return column->GetDataStr(buf, size);
  KIVDB_INFO(-1, "can't find column by key [%s]", TextOrEmpty(key));
  return kNoColumn;
}

int CTable::GetValInt(const char* key, int& out) {
  const CColumn* column = getcolumn(key);
  if (column != nullptr) return column->GetDataInt(out);
  KIVDB_INFO(kNoColumn, "can't find column by key [%s]", TextOrEmpty(key));
  return kNoColumn;
}

int CTable::GetValBigInt(const char* key, long& out) {
  const CColumn* column = getcolumn(key);
  if (column != nullptr) return column->GetDataBigInt(out);
  KIVDB_INFO(kNoColumn, "can't find column by key [%s]", TextOrEmpty(key));
  return kNoColumn;
}

}  // namespace KivDB
