// What the library asks of a creation file.

#include "database/creation_file.h"

#include <cstdio>
#include <cstring>

#include "zel.h"

namespace KivDB {
namespace {

constexpr unsigned int kListSize = 4095;
constexpr std::size_t kKeySize = 128;

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

bool CCreationFile::ReadValue(const char* table, const char* key, char* out,
                              unsigned int size) const {
  return InifileGetValueA(table, key, out, size, nullptr, m_path) >= 1;
}

}  // namespace KivDB
