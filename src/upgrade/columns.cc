// Parsing schema lines and descriptions of columns.

#include "upgrade/columns.h"

#include <fcntl.h>
#include <kivdb/column.h>
#include <kivdb/status.h>
#include <kivdb/utils.h>

#include <algorithm>
#include <limits>

#include "core/first_line.h"
#include "core/format.h"
#include "core/log.h"

namespace KivDB {
namespace {

// Splits at the separator; a text without any is one piece.
std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(separator, at), text.size());
    pieces.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return pieces;
}

bool IsType(const std::string& type) {
  return type == "int" || type == "bigint" || type == "varchar";
}

int Refuse(int code, const char* what, const std::string& which) {
  return KIVDB_FAIL(code, "%s: [%s]", what, which.c_str());
}

// Takes "NAME:TYPE" or "NAME(TYPE)" apart, where NAME may be "OLD>NEW" or
// "OLD=NEW"; blanks do not count.
int ParseEntry(std::string entry, std::string& name, std::string& type) {
  CUtils::strstrip(entry.data());
  entry.resize(std::char_traits<char>::length(entry.c_str()));
  const std::size_t at = entry.find_first_of(":(");
  const bool isClosed = at != entry.npos && entry[at] == '(';
  if (at == entry.npos || (isClosed && entry.back() != ')')) {
    return Refuse(kSyntax, "no column NAME:TYPE", entry);
  }
  name = entry.substr(0, at);
  type = entry.substr(at + 1, entry.size() - at - 1 - (isClosed ? 1 : 0));
  if (IsType(type)) return kOk;
  return Refuse(kUnknownType, "no type int, bigint or varchar", entry);
}

// Of a name that is none of a column now: source is set for "OLD>NEW".  One
// that was renamed already stays, so that the same description can be given
// again.
int ParseRename(const CSpecs& now, std::string& name,
                std::optional<std::size_t>& source) {
  const std::size_t arrow = name.find_first_of(">=");
  if (arrow != name.npos) {
    source = now.Find(name.substr(0, arrow));
    if (!source) source = now.Find(name.substr(arrow + 1));
    if (!source) return Refuse(kNoColumn, "no column to rename", name);
    name.erase(0, arrow + 1);
  }
  const bool isName = !name.empty() && name.find_first_of("[]|>=") == name.npos;
  return isName ? int{kOk} : Refuse(kSyntax, "no name of a column", name);
}

}  // namespace

// The last line's end may have a separator behind it.
bool CSpecs::Parse(const std::string& line) {
  m_specs.clear();
  std::string specs = line;
  if (!specs.empty() && specs.back() == kSeparator) specs.pop_back();
  for (const std::string& spec : Split(specs, kSeparator)) {
    CColumn column;
    if (column.SetInfo(spec.c_str()) != kOk || Find(column.name())) {
      return false;
    }
    const std::size_t open = spec.find('[') + 1;
    Add({column.name(), spec.substr(open, spec.find(']', open) - open)});
  }
  return m_specs.size() >= 2 && line.find('\0') == line.npos;
}

std::string CSpecs::Line() const {
  std::string line;
  for (const CSpec& spec : m_specs) {
    if (!line.empty()) line += kSeparator;
    line.append(spec.name).append("[").append(spec.type).append("]");
  }
  return line;
}

std::string CSpecs::Description() const {
  std::string text;
  for (const CSpec& spec : m_specs) {
    if (!text.empty()) text += ',';
    text.append(spec.name).append(":").append(spec.type);
  }
  return text;
}

std::optional<std::size_t> CSpecs::Find(const std::string& name) const {
  const auto found =
      std::find_if(m_specs.begin(), m_specs.end(),
                   [&](const CSpec& spec) { return spec.name == name; });
  if (found == m_specs.end()) return std::nullopt;
  return static_cast<std::size_t>(found - m_specs.begin());
}

int ReadSpecs(const std::string& path, CSpecs& specs) {
  constexpr std::size_t kWhole = std::numeric_limits<std::size_t>::max();
  CTextBuffer line;
  switch (ReadFirstLine(AT_FDCWD, path.c_str(), kWhole, line)) {
    case ReadResult::kMissing:
      return KIVDB_FAIL(kNoSchema, "no such file [%s]", path.c_str());
    case ReadResult::kUnreadable:
      return KIVDB_FAIL(kSchemaUnreadable, "failed to open schema file: %s",
                        path.c_str());
    case ReadResult::kRead:
      break;
  }
  if (specs.Parse({line.data(), line.size()})) return kOk;
  return KIVDB_FAIL(kSchemaUnreadable, "damaged schema: %s", path.c_str());
}

int CColumnChange::Parse(const std::string& description, const CSpecs& now) {
  for (const std::string& entry : Split(description, ',')) {
    CSpec spec;
    const int status = ParseEntry(entry, spec.name, spec.type);
    if (status != kOk) return status;
    std::optional<std::size_t> source = now.Find(spec.name);
    if (!source) {
      const int renamed = ParseRename(now, spec.name, source);
      if (renamed != kOk) return renamed;
    }
    const bool isTaken = source && std::find(sources.begin(), sources.end(),
                                             source) != sources.end();
    if (isTaken || columns.Find(spec.name)) {
      return Refuse(kSyntax, "a column twice", entry);
    }
    columns.Add(std::move(spec));
    sources.push_back(source);
  }
  if (columns.size() < 2) {
    return Refuse(kSyntax, "a table has two columns or more", description);
  }
  // The names of the record files are the ids.
  if (sources[0] == std::size_t{0} && columns[0].name == "id") return kOk;
  return Refuse(kSyntax, "the first column must be the id", description);
}

std::string CColumnChange::Dropped(const CSpecs& now) const {
  std::string names;
  for (std::size_t i = 0; i < now.size(); ++i) {
    const auto taken = std::find(sources.begin(), sources.end(), i);
    if (taken != sources.end()) continue;
    names += (names.empty() ? "" : ", ") + now[i].name;
  }
  return names;
}

bool CColumnChange::KeepsValues(const CSpecs& now) const {
  if (sources.size() != now.size()) return false;
  for (std::size_t i = 0; i < sources.size(); ++i) {
    if (sources[i] != i) return false;
  }
  return true;
}

}  // namespace KivDB
