// Updating and deleting records.

#include <kivdb/status.h>
#include <kivdb/table.h>
#include <kivdb/utils.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "core/heap_text.h"
#include "core/locked.h"
#include "core/log.h"
#include "core/no_throw.h"
#include "core/null_text.h"
#include "core/path.h"
#include "core/text_buffer.h"
#include "table/content.h"
#include "table/source.h"
#include "table/stored_fields.h"
#include "zel.h"

namespace KivDB {

int CTable::updateRecord(const char* id, const char* text) {
  if (id == nullptr || text == nullptr) {
    return KIVDB_FAIL(kInvalid, "invalid parameter");
  }
  if (!RequireMutex()) return kInvalid;
  const CRecordPath path(m_tablePath, id);
  return NoThrow([&] {
    return Change(m_mutex, m_tablePath, [&]() -> int {
      if (!path.IsRecord() || zel_access(path.text(), F_OK) != 0) {
        return KIVDB_FAIL(kNotFound, "file not found [%s]", path.text());
      }
      CStoredFields fields;
      const int status = LoadRecord(id, Source::kChange, fields);
      return status == kOk ? MergeAndSave(path.text(), fields, text) : status;
    });
  });
}

// Applies the update text to the record just read and saves it.  Values that
// the text does not name are written back as they are stored, with their
// escapes and at full length.  The table is locked.  Throws std::bad_alloc.
int CTable::MergeAndSave(const char* path, const CStoredFields& fields,
                         const char* text) {
  std::vector<bool> named(m_columns.size(), false);
  const int status = ApplyUpdate(strdup(text), &named);
  if (status != kOk) return status;
  if (m_columns.empty()) return RefuseContent();
  CTextBuffer content;
  std::size_t i = 0;
  fields.ForEachTaken([&](const char* stored) {
    ++i;
    AppendValue(named[i] ? ValueOf(*m_columns[i]) : stored, content);
  });
  return IsOneLine(content) ? SaveRecord(path, content) : RefuseContent();
}

int CTable::update_col(char* text) { return ApplyUpdate(text, nullptr); }

// Owns the text.  Notes in named, where that is given, the columns it changes.
int CTable::ApplyUpdate(char* text, std::vector<bool>* named) {
  const HeapText owned(text);
  if (text == nullptr) return NoMemory();
  char* pieces = text;
  while (char* value = StringGetNextA(&pieces, ',')) {
    char* key = StringGetNextA(&value, '=');
    if (key == nullptr) return KIVDB_FAIL(kSyntax, "syntax error: no key");
    CUtils::strstrip(key);
    CUtils::trim(value);
    const auto column = FindColumn(key);
    if (column == m_columns.end()) {
      return KIVDB_FAIL(kSyntax, "can't get column by key [%s]", key);
    }
    if ((*column)->SetData(value) != kOk) {
      return KIVDB_FAIL(kNoMemory, "set data value error");
    }
    if (named != nullptr) {
      (*named)[static_cast<std::size_t>(column - m_columns.begin())] = true;
    }
  }
  return kOk;
}

int CTable::update(const char* path) {
  if (path == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  return NoThrow([&] {
    CTextBuffer content;
    for (std::size_t i = 1; i < m_columns.size(); ++i) {
      AppendValue(ValueOf(*m_columns[i]), content);
    }
    return IsOneLine(content) ? SaveRecord(path, content) : RefuseContent();
  });
}

int CTable::deleteRecord(const char* id) {
  if (id == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  if (!RequireMutex()) return kInvalid;
  const CRecordPath path(m_tablePath, id);
  if (!path.IsRecord()) return kOk;
  return Change(m_mutex, m_tablePath, [&]() -> int {
    unlink(path.text());
    return kOk;
  });
}

}  // namespace KivDB
