// Gathering and checking rows.

#include "import/rows.h"

#include <utility>

#include "report.h"

namespace tool {

CInputRows::CInputRows(const CTableReader& table, std::string file)
    : m_table(table), m_file(std::move(file)) {}

std::string CInputRows::Place(std::size_t line) const {
  return m_file + ":" + std::to_string(line);
}

void CInputRows::Refuse(std::size_t line, const std::string& what) const {
  EndNo(Place(line), what);
}

void CInputRows::Refuse(std::size_t line, std::size_t column,
                        const std::string& what) const {
  Refuse(line, m_table.schema().columns[column].name + ": " + what);
}

std::size_t CInputRows::ColumnOf(const std::string& name,
                                 std::size_t line) const {
  const auto column = m_table.schema().Find(name);
  if (column) return *column;
  Refuse(line, "no column " + name + ", there are " + m_table.schema().Names());
}

void CInputRows::Begin(std::size_t line) {
  m_rows.push_back({line, {}, {}});
  m_isNamed.assign(m_table.schema().columns.size(), false);
}

void CInputRows::Set(std::size_t line, std::size_t column, std::string value) {
  if (m_isNamed[column]) Refuse(line, column, "twice");
  m_isNamed[column] = true;
  const auto fault = FaultOf(value);
  if (fault) Refuse(line, column, *fault);
  if (column == 0) {
    m_rows.back().id = std::move(value);
  } else {
    m_rows.back().values.push_back({column, std::move(value)});
  }
}

}  // namespace tool
