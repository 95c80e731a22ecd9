// Rows of a file, before they become records.

#ifndef TOOLS_IMPORT_ROWS_H_
#define TOOLS_IMPORT_ROWS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "arguments.h"
#include "store.h"

namespace tool {

struct CInputRow {
  std::size_t line;                 // where it begins, from 1
  std::string id;                   // empty: to be allocated
  std::vector<CAssignment> values;  // the others that it names
};

// What the readers of the formats fill, checked against the table's columns.
// What is wrong ends the command with kNo, as "FILE:LINE: what".
class CInputRows {
 public:
  // The table must outlive the rows.
  CInputRows(const CTableReader& table, std::string file);

  [[noreturn]] void Refuse(std::size_t line, const std::string& what) const;
  [[noreturn]] void Refuse(std::size_t line, std::size_t column,
                           const std::string& what) const;
  std::string Place(std::size_t line) const;

  std::size_t ColumnOf(const std::string& name, std::size_t line) const;

  // A row, and a value of it: one for each column at most.
  void Begin(std::size_t line);
  void Set(std::size_t line, std::size_t column, std::string value);

  std::vector<CInputRow>& rows() { return m_rows; }

 private:
  const CTableReader& m_table;
  std::string m_file;
  std::vector<CInputRow> m_rows;
  std::vector<bool> m_isNamed;  // the columns of the last row
};

}  // namespace tool

#endif  // TOOLS_IMPORT_ROWS_H_
