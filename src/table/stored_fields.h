// A record as its file holds it.

#ifndef TABLE_STORED_FIELDS_H_
#define TABLE_STORED_FIELDS_H_

#include <cstddef>
#include <cstring>

#include "core/first_line.h"
#include "core/format.h"
#include "core/text_buffer.h"
#include "zel.h"

namespace KivDB {

// The fields of one record's line: the values behind the id with their escapes
// and at full length.  They lie one after another in the line, each ended by a
// NUL in the place of its separator, as far as they were taken.
class CStoredFields {
 public:
  // Reads the line of a file with count fields, as ReadFirstLine takes it.
  ReadResult Read(int directory, const char* path, std::size_t count) {
    m_line.Resize(0);
    m_rest = nullptr;
    m_taken = 0;
    const ReadResult result = ReadFirstLine(directory, path, count, m_line);
    m_rest = m_line.data();
    return result;
  }

  bool IsEmpty() const { return m_line.size() == 0; }

  // The next field, or null when the line has no more.
  const char* Take() {
    const char* field = StringGetNextA(&m_rest, kSeparator);
    if (field != nullptr) ++m_taken;
    return field;
  }

  // Calls visit with each field that was taken, in their order.
  template <typename Visit>
  void ForEachTaken(Visit visit) const {
    const char* field = m_line.data();
    for (std::size_t i = 0; i < m_taken; ++i) {
      visit(field);
      field += std::strlen(field) + 1;
    }
  }

 private:
  CTextBuffer m_line;
  char* m_rest = nullptr;
  std::size_t m_taken = 0;
};

}  // namespace KivDB

#endif  // TABLE_STORED_FIELDS_H_
