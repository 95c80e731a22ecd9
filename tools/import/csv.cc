// Reading CSV.

#include "import/csv.h"

#include <csv.h>

#include <algorithm>
#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "input.h"

namespace tool {
namespace {

using Cells = std::vector<std::string>;

int IsNoBlank(unsigned char /*c*/) { return 0; }

// Gives the parser a line at a time, so that the line of a fault is known.
class CCsvReader {
 public:
  explicit CCsvReader(CInputRows& rows) : m_rows(rows) {
    csv_init(&m_parser, CSV_STRICT | CSV_STRICT_FINI);
    csv_set_space_func(&m_parser, IsNoBlank);
  }
  ~CCsvReader() { csv_free(&m_parser); }
  CCsvReader(const CCsvReader&) = delete;
  CCsvReader& operator=(const CCsvReader&) = delete;

  void Read(std::string_view text);

 private:
  static void OnCell(void* cell, std::size_t size, void* reader);
  static void OnRow(int end, void* reader);
  template <typename Body>
  void Guard(Body body);

  void ReadLine(std::string_view line);
  void Finish();
  void Check(bool isRead);
  void TakeRows();
  void TakeHeader(const Cells& names);
  void TakeRow(Cells& cells);

  CInputRows& m_rows;
  csv_parser m_parser{};
  std::exception_ptr m_error;  // of a callback
  Cells m_cells;               // of the row at work
  std::vector<Cells> m_done;   // rows that are not taken yet
  std::vector<std::size_t> m_columns;
  std::size_t m_line = 1;
  std::size_t m_rowLine = 1;  // where the row at work began
  bool m_isInRow = false;     // the line goes on with a row
};

// Nothing may be thrown through the parser.
template <typename Body>
void CCsvReader::Guard(Body body) {
  try {
    body();
  } catch (const std::exception&) {
    m_error = std::current_exception();
  }
}

void CCsvReader::OnCell(void* cell, std::size_t size, void* reader) {
  auto& self = *static_cast<CCsvReader*>(reader);
  self.Guard(
      [&] { self.m_cells.emplace_back(static_cast<const char*>(cell), size); });
}

void CCsvReader::OnRow(int /*end*/, void* reader) {
  auto& self = *static_cast<CCsvReader*>(reader);
  self.Guard([&] { self.m_done.push_back(std::exchange(self.m_cells, {})); });
}

void CCsvReader::Read(std::string_view text) {
  text = WithoutByteOrderMark(text);
  while (!text.empty()) {
    const std::size_t size = std::min(text.find('\n'), text.size() - 1) + 1;
    ReadLine(text.substr(0, size));
    text.remove_prefix(size);
    ++m_line;
  }
  Finish();
  if (m_columns.empty()) m_rows.Refuse(1, "no header");
}

void CCsvReader::ReadLine(std::string_view line) {
  if (!m_isInRow) m_rowLine = m_line;
  const std::size_t size =
      csv_parse(&m_parser, line.data(), line.size(), OnCell, OnRow, this);
  Check(size == line.size());
  const bool isBlank = line == "\n" || line == "\r\n";
  m_isInRow = m_done.empty() && (m_isInRow || !isBlank);
  TakeRows();
}

void CCsvReader::Finish() {
  if (csv_fini(&m_parser, OnCell, OnRow, this) != 0) {
    if (csv_error(&m_parser) == CSV_ENOMEM) throw std::bad_alloc();
    m_rows.Refuse(m_rowLine, "a quote is not closed");
  }
  Check(true);
  TakeRows();
}

void CCsvReader::Check(bool isRead) {
  if (m_error) std::rethrow_exception(m_error);
  if (isRead) return;
  if (csv_error(&m_parser) != CSV_EPARSE) throw std::bad_alloc();
  m_rows.Refuse(m_line,
                "a quote inside of a cell without quotes, or something "
                "between a closing quote and the end of its cell");
}

void CCsvReader::TakeRows() {
  for (Cells& cells : m_done) {
    if (m_columns.empty()) {
      TakeHeader(cells);
    } else {
      TakeRow(cells);
    }
  }
  m_done.clear();
}

void CCsvReader::TakeHeader(const Cells& names) {
  for (const std::string& name : names) {
    const std::size_t column = m_rows.ColumnOf(name, m_rowLine);
    const auto same = std::find(m_columns.begin(), m_columns.end(), column);
    if (same != m_columns.end()) m_rows.Refuse(m_rowLine, column, "twice");
    m_columns.push_back(column);
  }
}

void CCsvReader::TakeRow(Cells& cells) {
  if (cells.size() != m_columns.size()) {
    m_rows.Refuse(m_rowLine, std::to_string(cells.size()) +
                                 " cells, the header has " +
                                 std::to_string(m_columns.size()));
  }
  m_rows.Begin(m_rowLine);
  for (std::size_t i = 0; i < cells.size(); ++i) {
    m_rows.Set(m_rowLine, m_columns[i], std::move(cells[i]));
  }
}

}  // namespace

void ReadCsv(std::string_view text, CInputRows& rows) {
  CCsvReader(rows).Read(text);
}

}  // namespace tool
