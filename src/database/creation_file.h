// A creation file: an ini file that describes tables.

#ifndef DATABASE_CREATION_FILE_H_
#define DATABASE_CREATION_FILE_H_

#include "core/format.h"
#include "core/text_buffer.h"

namespace KivDB {

using SchemaValue = char[kValueSize];
using RecordValue = char[kIniRecordSize];

constexpr char kIdPlaceholder[] = "{{$kivid}}";
constexpr char kHostPlaceholder[] = "{{$kivhost}}";

// Each section but the first is a table, with the key "schema" for its schema
// line and "rec_1", "rec_2" and so on for its records.  Values are cut to their
// buffers.
class CCreationFile {
 public:
  // Reads nothing; the path stays the caller's.
  explicit CCreationFile(const char* path) : m_path(path) {}

  const char* path() const { return m_path; }

  // Reads the names of the tables.  False when the file has no section, cannot
  // be read, or changed meanwhile.  Throws std::bad_alloc.
  bool ReadNames();

  // The first of all, which is no table, and the next table, or null.
  const char* FirstName() const { return m_names.data(); }
  const char* NextName();

  // False when the table has no schema line, or no record of this number.
  bool ReadSchema(const char* table, SchemaValue& schema) const;
  bool ReadRecord(const char* table, int number, RecordValue& record) const;

  // False where the section has no such value.
  bool ReadValue(const char* section, const char* key, char* out,
                 unsigned int size) const;

 private:
  const char* m_path;
  CTextBuffer m_names;     // each with its NUL, and an empty one last
  char* m_next = nullptr;  // in m_names
};

// Puts in what the placeholders of a text stand for.  kNoReplacement, with its
// line, when that does not fit.
int ReplacePlaceholders(char* text, std::size_t size, int id, const char* host);

}  // namespace KivDB

#endif  // DATABASE_CREATION_FILE_H_
