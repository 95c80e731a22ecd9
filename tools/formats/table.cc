// The format table: aligned columns for people.

#include <algorithm>
#include <utility>

#include "formats/format.h"
#include "printable.h"

namespace tool {
namespace {

// Rows that are looked at for widths when all cannot be kept.
constexpr std::size_t kLookedAt = 1000;

class CAligned : public CFormat {
 public:
  CAligned(COutput& out, std::vector<CField> fields)
      : CFormat(out, std::move(fields)), m_widths(this->fields().size()) {
    std::vector<std::string> header;
    for (const CField& field : this->fields()) {
      header.push_back(Printable(field.name));
    }
    Keep(std::move(header));
  }

  void Add(const CRow& row) override {
    std::vector<std::string> cells;
    for (const auto& cell : row.cells) {
      cells.push_back(Printable(cell.value_or("")));
    }
    if (m_isStreaming && m_rows.size() >= kLookedAt) PrintKept();
    if (m_isPrinting) {
      Print(cells);
    } else {
      Keep(std::move(cells));
    }
  }

  void Stream() override { m_isStreaming = true; }
  void End() override { PrintKept(); }

  // A name and a value on each line.
  void Only(const CRow& row) override {
    for (std::size_t i = 0; i < fields().size(); ++i) {
      const std::string value = Printable(row.cells[i].value_or(""));
      Write(Printable(fields()[i].name) + (value.empty() ? " =" : " = ") +
            value + "\n");
    }
  }

 private:
  void Keep(std::vector<std::string> cells) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
      m_widths[i] = std::max(m_widths[i], WidthOf(cells[i]));
    }
    m_rows.push_back(std::move(cells));
  }

  void PrintKept() {
    for (const auto& row : std::exchange(m_rows, {})) Print(row);
    m_isPrinting = true;
  }

  void Print(const std::vector<std::string>& cells) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      const std::size_t width = WidthOf(cells[i]);
      const std::string blanks(m_widths[i] - std::min(width, m_widths[i]), ' ');
      if (i > 0) line += "  ";
      line += fields()[i].IsNumber() ? blanks + cells[i] : cells[i] + blanks;
    }
    line.resize(line.find_last_not_of(' ') + 1);
    Write(line + "\n");
  }

  std::vector<std::size_t> m_widths;
  std::vector<std::vector<std::string>> m_rows;
  bool m_isStreaming = false;
  bool m_isPrinting = false;
};

}  // namespace

std::unique_ptr<CFormat> MakeTable(COutput& out, std::vector<CField> fields) {
  return std::make_unique<CAligned>(out, std::move(fields));
}

}  // namespace tool
