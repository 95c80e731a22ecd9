// Reading creation files.

#include "creation.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <unordered_map>
#include <utility>

#include "report.h"

namespace tool {
namespace {

constexpr std::size_t kNameMax = 255;
constexpr std::size_t kHostMax = 1023;
constexpr char kSchemaKey[] = "schema";
constexpr char kRecordKey[] = "rec_";
constexpr char kIdKey[] = "kivid";
constexpr char kHostKey[] = "kivhost";

// In the order in which the library replaces them: what one puts in may hold
// a later one.
constexpr std::string_view kNames[] = {"{{$kivid}}", "{{$kivhost}}",
                                       "{{$kivversion}}"};

std::string OverBytes(std::size_t limit) {
  return "over " + std::to_string(limit) + " bytes";
}

void ReplaceAll(std::string& text, std::string_view name,
                const std::string& value) {
  for (std::size_t at = 0; (at = text.find(name, at)) != text.npos;
       at += value.size()) {
    text.replace(at, name.size(), value);
  }
}

// The id that a first field stands for: the library takes its leading number,
// cut to 32 bits.
std::string IdOf(const std::string& field) {
  const auto number =
      static_cast<unsigned int>(std::strtol(field.c_str(), nullptr, 10));
  return std::to_string(static_cast<int>(number));
}

std::vector<std::string> SplitFields(std::string_view text) {
  std::vector<std::string> fields;
  while (!text.empty()) {
    const std::string_view field = text.substr(0, text.find(','));
    fields.emplace_back(Trim(field));
    text.remove_prefix(std::min(field.size() + 1, text.size()));
  }
  return fields;
}

// The tables of a file, one after the other.
class CTableParser {
 public:
  CTableParser(const std::string& file, const CPlaceholders& placeholders)
      : m_file(file),
        m_values{std::to_string(placeholders.id), placeholders.host, "1.0"} {}

  CCreationTable Parse(const CIniSection& section) {
    RefuseName(section);
    CCreationTable table{
        section.name, section.line, ParseSchemaOf(section), {}};
    std::unordered_map<std::string, std::size_t> lines;  // by id
    for (std::size_t i = 1;; ++i) {
      const CIniValue* value = section.Find(kRecordKey + std::to_string(i));
      if (value == nullptr || value->text.empty()) break;
      CCreationRecord record = ParseRecord(table.schema, *value);
      const auto [other, isNew] =
          lines.try_emplace(record.record.id, value->line);
      if (!isNew) {
        Refuse(value->line, "the id " + record.record.id + " is that of line " +
                                std::to_string(other->second));
      }
      table.records.push_back(std::move(record));
    }
    RefuseLost(section, table.records.size());
    return table;
  }

 private:
  [[noreturn]] void Refuse(std::size_t line, const std::string& what) const {
    EndTrouble(AtLine(m_file, line), what);
  }

  void RefuseName(const CIniSection& section) const {
    if (!IsComponent(section.name)) {
      Refuse(section.line, "no name of a table: " + section.name);
    }
    if (section.name.size() > kNameMax) {
      Refuse(section.line, "a name " + OverBytes(kNameMax));
    }
  }

  CSchema ParseSchemaOf(const CIniSection& section) const {
    const CIniValue* value = section.Find(kSchemaKey);
    if (value == nullptr) Refuse(section.line, "no schema: " + section.name);
    if (value->text.size() > kCreationValueMax) {
      Refuse(value->line, "a schema " + OverBytes(kCreationValueMax));
    }
    CSchema schema = ParseSchema(value->text);
    if (schema.columns.empty()) Refuse(value->line, "a schema without column");
    return schema;
  }

  // Records that the library would leave out without a word.
  void RefuseLost(const CIniSection& section, std::size_t count) const {
    for (const auto& [key, value] : section.values) {
      constexpr std::size_t kLength = std::size(kRecordKey) - 1;
      const bool isNumbered =
          key.size() > kLength && key.compare(0, kLength, kRecordKey) == 0 &&
          key.find_first_not_of("0123456789", kLength) == key.npos;
      if (!isNumbered || value.text.empty()) continue;
      const std::size_t number =
          std::strtoul(key.c_str() + kLength, nullptr, 10);
      const bool isRead = number >= 1 && number <= count &&
                          std::to_string(number) == key.substr(kLength);
      if (isRead) continue;
      Refuse(value.line, key + " would not be read: there is no " + kRecordKey +
                             std::to_string(count + 1));
    }
  }

  std::string Replaced(const CIniValue& value) const {
    std::string text = value.text;
    for (std::size_t i = 0;; ++i) {
      if (text.size() > kCreationRecordMax) {
        Refuse(value.line, "a record " + OverBytes(kCreationRecordMax));
      }
      if (i == std::size(kNames)) return text;
      ReplaceAll(text, kNames[i], m_values[i]);
    }
  }

  void RefuseField(std::size_t line, std::size_t place,
                   const std::string& field) const {
    const std::string name = "value " + std::to_string(place + 1);
    if (field.size() > kCreationValueMax) {
      Refuse(line, name + " is " + OverBytes(kCreationValueMax));
    }
    if (place > 0 && field.find('|') != field.npos) {
      Refuse(line, name + " holds |, which ends it: write \\x7c");
    }
    if (field.find('\n') != field.npos) {
      Refuse(line, name + " holds a line feed");
    }
  }

  CCreationRecord ParseRecord(const CSchema& schema,
                              const CIniValue& value) const {
    const std::vector<std::string> fields = SplitFields(Replaced(value));
    const std::size_t wanted = schema.columns.size();
    if (wanted < 2) Refuse(value.line, "a record without columns but the id");
    if (fields.size() != wanted) {
      Refuse(value.line, std::to_string(fields.size()) + " of " +
                             std::to_string(wanted) + " values, with the id");
    }
    CRecord record{IdOf(fields.front()), {}, {}};
    record.values.push_back(record.id);
    for (std::size_t i = 0; i < fields.size(); ++i) {
      RefuseField(value.line, i, fields[i]);
      if (i == 0) continue;
      record.line += fields[i] + "|";
      record.values.push_back(ReadValue(fields[i]));
    }
    return {std::move(record), value.text, value.line};
  }

  const std::string& m_file;
  const std::string m_values[std::size(kNames)];
};

// The lines of a text, each with its end.
std::vector<std::string> SplitLines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t feed = std::min(text.find('\n'), text.size() - 1);
    lines.emplace_back(text.substr(0, feed + 1));
    text.remove_prefix(feed + 1);
  }
  return lines;
}

std::string EndOf(const std::string& line) {
  if (line.empty() || line.back() != '\n') return "";
  return line.size() > 1 && line[line.size() - 2] == '\r' ? "\r\n" : "\n";
}

// Puts a value into the lines of the section: over the one that counts, or as
// the first.
void SetValue(const CIniSection& section, const char* key,
              const std::string& value, std::vector<std::string>& lines) {
  const CIniValue* old = section.Find(key);
  if (old != nullptr && old->text == value) return;
  const std::string text =
      std::string(key) + " = " + IniText(value).value_or("");
  std::string& line = lines[(old != nullptr ? old->line : section.line) - 1];
  const std::string end = EndOf(line);
  if (old != nullptr) {
    line = text + end;
  } else {
    line += end.empty() ? "\n" + text + "\n" : text + end;
  }
}

}  // namespace

CCreationFile::CCreationFile(std::string name, std::string text)
    : m_name(std::move(name)),
      m_text(std::move(text)),
      m_sections(ParseIni(m_name, m_text)) {
  if (m_sections.empty()) EndTrouble(m_name, "no section");
  const CIniSection& first = m_sections.front();
  if (const CIniValue* id = first.Find(kIdKey)) {
    if (!IsCanonicalId(id->text)) {
      EndTrouble(AtLine(m_name, id->line), "kivid is no number in its range");
    }
    m_id = std::stoi(id->text);
  }
  if (const CIniValue* host = first.Find(kHostKey)) {
    const auto fault = FaultOfHost(host->text);
    if (fault) EndTrouble(AtLine(m_name, host->line), "kivhost is " + *fault);
    m_host = host->text;
  }
}

CPlaceholders CCreationFile::Placeholders() const {
  CPlaceholders placeholders;
  if (m_id.value_or(0) != 0) placeholders.id = *m_id;
  if (!m_host.value_or("").empty()) placeholders.host = *m_host;
  return placeholders;
}

std::vector<CCreationTable> CCreationFile::Tables(
    const CPlaceholders& placeholders) const {
  CTableParser parser(m_name, placeholders);
  std::vector<CCreationTable> tables;
  for (auto section = std::next(m_sections.begin());
       section != m_sections.end(); ++section) {
    tables.push_back(parser.Parse(*section));
  }
  return tables;
}

std::string CCreationFile::TextWith(const CPlaceholders& placeholders) const {
  const CIniSection& first = m_sections.front();
  std::vector<std::string> lines = SplitLines(m_text);
  SetValue(first, kIdKey, std::to_string(placeholders.id), lines);
  SetValue(first, kHostKey, placeholders.host, lines);
  std::string text;
  for (const std::string& line : lines) text += line;
  return text;
}

CCreationFile ReadCreationFile(const std::string& path) {
  CLine text = ReadWhole(AT_FDCWD, path);
  if (text.error != 0) EndTrouble(path, text.Reason());
  return {path, std::move(text.text)};
}

std::optional<std::string> FaultOfHost(const std::string& host) {
  if (host.size() > kHostMax) return OverBytes(kHostMax);
  if (!IniText(host)) return "a text that no ini file can hold";
  return std::nullopt;
}

bool HasPlaceholder(std::string_view text) {
  return std::any_of(
      std::begin(kNames), std::end(kNames),
      [&](std::string_view name) { return text.find(name) != text.npos; });
}

}  // namespace tool
