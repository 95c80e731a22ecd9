// What the library asks of a creation file.

#include "database/creation_file.h"

#include <kivdb/status.h>

#include <cstdio>
#include <cstring>

#include "core/log.h"
#include "zel.h"

namespace KivDB {
namespace {

constexpr unsigned int kListSize = 4095;
constexpr std::size_t kKeySize = 128;
constexpr std::size_t kNumberSize = 128;

}  // namespace

bool CCreationFile::ReadNames() {
  unsigned int size = kListSize;
  int length =
      InifileGetValueA(nullptr, nullptr, m_names.data(), size, nullptr, m_path);
  if (length > static_cast<int>(size)) {
    size = static_cast<unsigned int>(length);
    m_names.Reserve(size);
    std::memset(m_names.data(), 0, size + 1);
    length = InifileGetValueA(nullptr, nullptr, m_names.data(), size, nullptr,
                              m_path);
  }
  m_next = m_names.data();
  StringGetNextA(&m_next, '\0');  // the first section is no table
  return length >= 1 && length <= static_cast<int>(size);
}

const char* CCreationFile::NextName() { return StringGetNextA(&m_next, '\0'); }

bool CCreationFile::ReadSchema(const char* table, SchemaValue& schema) const {
  return ReadValue(table, "schema", schema, sizeof(schema));
}

bool CCreationFile::ReadRecord(const char* table, int number,
                               RecordValue& record) const {
  char key[kKeySize];
  std::snprintf(key, sizeof(key), "rec_%i", number);
  return ReadValue(table, key, record, sizeof(record));
}

bool CCreationFile::ReadValue(const char* section, const char* key, char* out,
                              unsigned int size) const {
  return InifileGetValueA(section, key, out, size, nullptr, m_path) >= 1;
}

int ReplacePlaceholders(char* text, std::size_t size, int id,
                        const char* host) {
  char number[kNumberSize];
  std::snprintf(number, sizeof(number), "%i", id);
  const struct {
    const char* name;
    const char* value;
  } placeholders[] = {
      {kIdPlaceholder, number},
      {kHostPlaceholder, host},
      {"{{$kivversion}}", "1.0"},
  };
  for (const auto& p : placeholders) {
    if (StringFindAndReplaceA(text, size, p.name, p.value) == nullptr) {
      return KIVDB_FAIL(kNoReplacement, "Unable to replace %s", p.name);
    }
  }
  return kOk;
}

}  // namespace KivDB
