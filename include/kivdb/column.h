// A column of a table: its definition and one value.

#ifndef KIVDB_COLUMN_H_
#define KIVDB_COLUMN_H_

#include <kivdb/export.h>

#include <string>

namespace KivDB {

// One column definition (name and type) that carries one value as text.  No
// operation checks the value against the type: the getters parse it when they
// are called.  A column without a value reads as the empty text.
//
// A column has no lock.  Columns of a table change with every read of that
// table; a column of the caller's own belongs to one thread at a time.
class KIVDB_EXPORT CColumn {
 public:
  // No name, no type, no value.
  CColumn();

  // The whole text is the name; null is the empty name.
  explicit CColumn(const char* name);

  // Copies definition and value; a column without a value gives the empty
  // value.  When there is no memory for the value (logged), the copy has none.
  CColumn(const CColumn& other);
  CColumn& operator=(const CColumn&) = delete;
  ~CColumn();

  // Sets name and type from a spec "name[type]", where type is "int", "bigint"
  // or "varchar".  Nothing is trimmed and the text after "]" is ignored.
  //
  // Returns kOk; kNoType, with nothing changed, for null or a spec without "[";
  // kUnknownType (logged) when the keyword is none of the three: the name is
  // already set then and the type stays; kNoMemory (logged).
  int SetInfo(const char* spec);

  // Replaces the value by a copy of the text; null is the empty text.  Returns
  // kOk, or kNoMemory (logged): the column then has no value.
  int SetData(const char* value);

  // Copies the value into buf, cut to size bytes with the terminator.  Returns
  // kOk, or kInvalid (logged) for a null buffer or size 0.
  int GetDataStr(char* buf, unsigned int size) const;

  // Reads the value as a decimal integer; the empty value is 0.  A value out of
  // the 64-bit range gives its nearest bound, and one out of the 32-bit range
  // its low 32 bits.  Returns kOk, or kInvalid (logged) when the value is not
  // an integer to its end; out then holds what its beginning gave.
  int GetDataBigInt(long& out) const;
  int GetDataInt(int& out) const;

  bool isPrimaryKey() const;

  // The value itself, or null when there is none.  The column keeps it; the
  // next SetData or read of its table ends it.
  char* data() const;

  // The name, which the column keeps.
  const char* name() const;

 private:
  friend class CTable;  // loads schemas

  KIVDB_LOCAL int ParseSpec(const char* spec);

  std::string m_name;
  int m_type;
  bool m_primaryKey;
  char* m_data;  // from malloc, or null
};

}  // namespace KivDB

#endif  // KIVDB_COLUMN_H_
