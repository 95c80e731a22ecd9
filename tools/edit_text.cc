// Writing and reading what is edited.

#include "edit_text.h"

#include <kivdb/escape.h>

#include <algorithm>
#include <optional>
#include <string_view>

namespace tool {
namespace {

constexpr char kHelp[] =
    "# Change the values. The id stays, and so does a value whose line is\n"
    "# gone; \"name =\" is an empty value. Blanks at the ends of a value do "
    "not\n"
    "# count: write \\x20. Other escapes are \\n, \\r, \\t, \\\\ and \\xHH "
    "for\n"
    "# a byte. Lines that begin with # are ignored.\n";

std::string_view Trimmed(std::string_view text) {
  constexpr char kBlanks[] = " \t\r";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

class CParser {
 public:
  CParser(const CTableReader& table, const CRecord& record)
      : m_table(table),
        m_record(record),
        m_isNamed(table.schema().columns.size(), false) {}

  // Why the line cannot be taken, or the empty text.
  std::string Take(std::string_view line) {
    line = Trimmed(line);
    if (line.empty() || line.front() == '#') return "";
    const std::size_t sign = line.find('=');
    if (sign == line.npos) return "no \"column = value\"";
    const std::string name(Trimmed(line.substr(0, sign)));
    const auto column = m_table.schema().Find(name);
    if (!column) {
      return "no column " + name + ", there are " + m_table.schema().Names();
    }
    if (m_isNamed[*column]) return name + ": twice";
    m_isNamed[*column] = true;
    const std::string fault =
        Set(*column, KivDB::Unescape(Trimmed(line.substr(sign + 1))));
    return fault.empty() ? "" : name + ": " + fault;
  }

  std::vector<CAssignment> changed;

 private:
  std::string Set(std::size_t column, const std::string& value) {
    if (value == m_record.values[column]) return "";
    if (column == 0) return "cannot be changed";
    changed.push_back({column, value});
    return FaultOf(value).value_or("");
  }

  const CTableReader& m_table;
  const CRecord& m_record;
  std::vector<bool> m_isNamed;
};

}  // namespace

std::string EditText(const CTableReader& table, const CRecord& record) {
  std::string text = "# " + KivDB::Escape(Where(table, record.id)) + "\n";
  text += kHelp;
  for (std::size_t i = 0; i < record.values.size(); ++i) {
    const std::string value = KivDB::Escape(record.values[i]);
    text += table.schema().columns[i].name + " =" +
            (value.empty() ? "" : " " + value) + "\n";
  }
  return text;
}

CEdited ParseEdited(const CTableReader& table, const CRecord& record,
                    const std::string& text) {
  CParser parser(table, record);
  std::string_view rest = text;
  for (std::size_t line = 1; !rest.empty(); ++line) {
    const std::string_view first = rest.substr(0, rest.find('\n'));
    const std::string fault = parser.Take(first);
    if (!fault.empty()) {
      return {{}, "line " + std::to_string(line) + ": " + fault};
    }
    rest.remove_prefix(std::min(first.size() + 1, rest.size()));
  }
  return {parser.changed, ""};
}

}  // namespace tool
