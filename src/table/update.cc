// Updating and deleting records.

#include <fcntl.h>
#include <kivdb/status.h>
#include <kivdb/table.h>
#include <kivdb/utils.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/lock.h"
#include "core/log.h"
#include "core/no_throw.h"
#include "core/path.h"
#include "core/text.h"
#include "core/text_buffer.h"
#include "table/content.h"
#include "zel.h"

namespace KivDB {
namespace {

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};

}  // namespace

int CTable::updateRecord(const char* id, const char* text) {
  if (id == nullptr || text == nullptr) {
    return KIVDB_FAIL(kInvalid, "invalid parameter");
  }
  if (!HasMutex()) return kInvalid;
  const CPath path(m_tablePath, id);
  return WithLock(m_mutex, [&]() -> int {
    if (!NamesRecord(id) || zel_access(path.text(), F_OK) != 0) {
      return KIVDB_FAIL(kNotFound, "file not found [%s]", path.text());
    }
    CTextBuffer line;
    const int status = LoadRecord(AT_FDCWD, path.text(), id, line);
    if (status != kOk) return status;
    return NoThrow<int>(kNoMemory, [&] {
      return MergeAndSave(path.text(), line.data(), text);
    });
  });
}

// Applies the update text to the record just read and saves it.  fields are its
// values as they are stored, each ended by a NUL: those that the text does not
// name are written back from there, with their escapes and at full length.  The
// mutex is held.
int CTable::MergeAndSave(const char* path, const char* fields,
                         const char* text) {
  std::vector<const char*> stored(m_columns.size(), nullptr);
  for (std::size_t i = 1; i < stored.size(); ++i) {
    stored[i] = fields;
    fields += std::strlen(fields) + 1;
  }
  const int status = ApplyUpdate(strdup(text), &stored);
  return status == kOk ? SaveValues(path, stored) : status;
}

int CTable::update_col(char* text) { return ApplyUpdate(text, nullptr); }

// Owns the text.  Takes what it changes out of stored, where that is given.
int CTable::ApplyUpdate(char* text, std::vector<const char*>* stored) {
  const std::unique_ptr<char, FreeText> owned(text);
  if (text == nullptr) return KIVDB_FAIL(kNoMemory, "no memory");
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
    if (stored != nullptr) {
      (*stored)[static_cast<std::size_t>(column - m_columns.begin())] = nullptr;
    }
  }
  return kOk;
}

int CTable::update(const char* path) {
  if (path == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  return SaveValues(path, {});
}

// Saves the columns' values, or what stored has in their place.
int CTable::SaveValues(const char* path,
                       const std::vector<const char*>& stored) {
  CTextBuffer content;
  for (std::size_t i = 1; i < m_columns.size(); ++i) {
    const char* value = i < stored.size() ? stored[i] : nullptr;
    if (value == nullptr) value = ValueOf(*m_columns[i]);
    if (!AppendValue(value, content)) return KIVDB_FAIL(kNoMemory, "no memory");
  }
  if (!IsOneLine(content)) return KIVDB_FAIL(kSyntax, "record's syntax error ");
  return SaveRecord(path, content);
}

int CTable::deleteRecord(const char* id) {
  if (id == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  if (!HasMutex()) return kInvalid;
  if (!NamesRecord(id)) return kOk;
  const CPath path(m_tablePath, id);
  WithLock(m_mutex, [&] { return unlink(path.text()); });
  return kOk;
}

}  // namespace KivDB
