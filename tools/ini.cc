// Parsing ini files.

#include "ini.h"

#include <algorithm>
#include <climits>
#include <unordered_map>

#include "input.h"
#include "report.h"

namespace tool {
namespace {

constexpr char kBlanks[] = " \t\n\v\f\r";

// Takes away the quotes of a value that is one quoted text as a whole.
std::string_view Unquote(std::string_view value) {
  if (value.size() < 2 || value.front() != '"') return value;
  if (value.find('"', 1) != value.size() - 1) return value;
  return value.substr(1, value.size() - 2);
}

class CIniParser {
 public:
  explicit CIniParser(const std::string& file) : m_file(file) {}

  void Take(std::string_view line) {
    ++m_line;
    line = Trim(line);
    if (line.empty() || line.front() == ';' || line.front() == '#') return;
    if (line.front() == '[') {
      EnterSection(line);
      return;
    }
    const std::size_t sign = line.find('=');
    if (m_sections.empty() || sign == line.npos) return;
    const std::string_view value = Unquote(Trim(line.substr(sign + 1)));
    // Keeps the value that is there already: the first one counts.
    m_sections[m_current].values.try_emplace(
        std::string(Trim(line.substr(0, sign))),
        CIniValue{std::string(value), m_line});
  }

  std::vector<CIniSection> Sections() { return std::move(m_sections); }

 private:
  void EnterSection(std::string_view line) {
    const std::size_t end = line.find(']');
    if (end == line.npos) EndTrouble(AtLine(m_file, m_line), "no \"]\"");
    const std::string name(Trim(line.substr(1, end - 1)));
    if (name.empty()) EndTrouble(AtLine(m_file, m_line), "an empty name");
    const auto [place, isNew] = m_places.try_emplace(name, m_sections.size());
    if (isNew) m_sections.push_back({name, m_line, {}});
    m_current = place->second;
  }

  const std::string& m_file;
  std::size_t m_line = 0;
  std::size_t m_current = 0;
  std::vector<CIniSection> m_sections;
  std::unordered_map<std::string, std::size_t> m_places;
};

// Such a file holds nothing that can be delivered.
void RefuseUnusable(const std::string& file, std::string_view text) {
  if (text.size() >= INT_MAX) EndTrouble(file, "too large");
  const std::size_t zero = text.find('\0');
  if (zero == text.npos) return;
  const auto before = text.substr(0, zero);
  const auto feeds = std::count(before.begin(), before.end(), '\n');
  EndTrouble(AtLine(file, static_cast<std::size_t>(feeds) + 1), "a byte 0");
}

}  // namespace

const CIniValue* CIniSection::Find(const std::string& key) const {
  const auto found = values.find(key);
  return found == values.end() ? nullptr : &found->second;
}

std::vector<CIniSection> ParseIni(const std::string& file,
                                  std::string_view text) {
  RefuseUnusable(file, text);
  text = WithoutByteOrderMark(text);
  CIniParser parser(file);
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    parser.Take(line);
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
  return parser.Sections();
}

std::optional<std::string> IniText(const std::string& value) {
  constexpr std::string_view kNever("\n\0", 2);
  if (value.find_first_of(kNever) != value.npos) return std::nullopt;
  if (!HasOuterBlanks(value) && Unquote(value) == value) return value;
  if (value.find('"') != value.npos) return std::nullopt;
  return '"' + value + '"';
}

bool HasOuterBlanks(std::string_view text) { return Trim(text) != text; }

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string AtLine(const std::string& file, std::size_t line) {
  return file + ":" + std::to_string(line);
}

}  // namespace tool
