// The current record: reading it and getting its values.

#include <fcntl.h>
#include <kivdb/status.h>
#include <kivdb/table.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "core/format.h"
#include "core/locked.h"
#include "core/log.h"
#include "core/no_throw.h"
#include "core/null_text.h"
#include "core/path.h"
#include "table/source.h"
#include "table/stored_fields.h"
#include "zel.h"

namespace KivDB {

int CTable::readRecord(const char* id) {
  if (id == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  CStoredFields fields;
  return LoadRecord(id, Source::kPath, fields);
}

// Makes the record current.  On kOk every field was taken.  Lack of memory for
// the line has no log line.
int CTable::LoadRecord(const char* id, Source source, CStoredFields& fields) {
  return NoThrow(
      [&]() -> int {
        if (!NamesRecord(m_tablePath, id) ||
            ReadStored(id, source, fields) != ReadResult::kRead) {
          return KIVDB_FAIL(kRecordUnreadable, "failed to open record file: %s",
                            CPath(m_tablePath, id).text());
        }
        if (fields.IsEmpty()) {
          return KIVDB_FAIL(kBadRecord, "record length is 0, error");
        }
        return SetValues(id, fields);
      },
      []() -> int { return kNoMemory; });
}

// A save removes the old file before it renames the new one.  So a record is
// missing only when it is so under the lock, or when waiting for that has taken
// too long.
ReadResult CTable::ReadStored(const char* id, Source source,
                              CStoredFields& fields) {
  const std::size_t count = m_columns.empty() ? 0 : m_columns.size() - 1;
  const auto read = [&] {
    if (source == Source::kCursor) {
      return fields.Read(m_dirIterator.Descriptor(), id, count);
    }
    return fields.Read(AT_FDCWD, CPath(m_tablePath, id).text(), count);
  };
  ReadResult result = read();
  if (source == Source::kChange) return result;
  CLockWait wait(kReaderWait, true);
  while (result == ReadResult::kMissing) {
    CFileLock lock;
    const LockResult got = lock.Try(m_tablePath, LOCK_SH);
    result = read();
    if (result != ReadResult::kMissing || got != LockResult::kBusy) break;
    if (!wait.Pause()) break;
  }
  return result;
}

int CTable::SetValues(const char* id, CStoredFields& fields) {
  std::size_t count = 0;
  for (CColumn* column : m_columns) {
    const char* value = id;
    char unescaped[kValueSize];
    if (count > 0) {
      const char* field = fields.Take();
      if (field == nullptr) break;
      StringUnescapeA(field, unescaped, sizeof(unescaped));
      value = unescaped;
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
