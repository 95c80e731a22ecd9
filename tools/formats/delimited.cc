// The formats tsv and csv.

#include <utility>

#include "formats/format.h"

namespace tool {
namespace {

// A header and a line a row, whose cells are quoted in some way.
class CDelimited : public CFormat {
 public:
  using Quote = std::string (*)(const std::string& cell, bool isAlone);

  CDelimited(COutput& out, std::vector<CField> fields, char separator,
             const char* end, Quote quote)
      : CFormat(out, std::move(fields)),
        m_separator(separator),
        m_end(end),
        m_quote(quote) {
    std::vector<std::optional<std::string>> names;
    for (const CField& field : this->fields()) names.emplace_back(field.name);
    Print(names);
  }

  void Add(const CRow& row) override { Print(row.cells); }

 private:
  void Print(const std::vector<std::optional<std::string>>& cells) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      if (i > 0) line += m_separator;
      line += m_quote(cells[i].value_or(""), cells.size() == 1);
    }
    Write(line + m_end);
  }

  char m_separator;
  const char* m_end;
  Quote m_quote;
};

std::string QuoteTsv(const std::string& cell, bool /*isAlone*/) {
  std::string quoted;
  for (const char c : cell) {
    switch (c) {
      case '\t':
        quoted += "\\t";
        break;
      case '\n':
        quoted += "\\n";
        break;
      case '\r':
        quoted += "\\r";
        break;
      case '\\':
        quoted += "\\\\";
        break;
      default:
        quoted += c;
    }
  }
  return quoted;
}

std::string QuoteCsv(const std::string& cell, bool isAlone) {
  const bool isPlain = cell.find_first_of("\",\r\n") == cell.npos;
  if (isPlain && !(isAlone && cell.empty())) return cell;
  std::string quoted = "\"";
  for (const char c : cell) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + "\"";
}

}  // namespace

std::unique_ptr<CFormat> MakeTsv(COutput& out, std::vector<CField> fields) {
  return std::make_unique<CDelimited>(out, std::move(fields), '\t', "\n",
                                      QuoteTsv);
}

std::unique_ptr<CFormat> MakeCsv(COutput& out, std::vector<CField> fields) {
  return std::make_unique<CDelimited>(out, std::move(fields), ',', "\r\n",
                                      QuoteCsv);
}

}  // namespace tool
