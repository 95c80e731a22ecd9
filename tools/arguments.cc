// Columns, values and ids.

#include "arguments.h"

#include <kivdb/texts.h>

#include <algorithm>

#include "report.h"

namespace tool {

std::size_t ColumnOf(const CTableReader& table, const std::string& name) {
  const auto column = table.schema().Find(name);
  if (column) return *column;
  EndTrouble(table.name(),
             "no column " + name + ", there are " + table.schema().Names());
}

std::vector<CAssignment> ParseAssignments(
    const CTableReader& table, const std::vector<std::string>& texts) {
  std::vector<CAssignment> assignments;
  for (const std::string& text : texts) {
    const std::size_t sign = text.find('=');
    if (sign == text.npos) {
      EndTrouble(table.name(), "no COLUMN=VALUE: " + text);
    }
    const std::size_t column = ColumnOf(table, text.substr(0, sign));
    const bool isTwice = std::any_of(
        assignments.begin(), assignments.end(),
        [&](const CAssignment& other) { return other.column == column; });
    if (isTwice) EndTrouble(table.name(), "twice: " + text.substr(0, sign));
    assignments.push_back({column, text.substr(sign + 1)});
  }
  return assignments;
}

std::vector<CAssignment> ParseValues(const CTableReader& table,
                                     const std::vector<std::string>& texts) {
  std::vector<CAssignment> values = ParseAssignments(table, texts);
  for (const auto& [column, value] : values) {
    const std::string& name = table.schema().columns[column].name;
    if (column == 0) {
      EndTrouble(table.name(), "the " + name + " cannot be set");
    }
    const auto fault = FaultOf(value);
    if (fault) EndTrouble(table.name() + "." + name, *fault);
  }
  return values;
}

bool Meets(const CRecord& record, const std::vector<CAssignment>& conditions) {
  return std::all_of(
      conditions.begin(), conditions.end(), [&](const CAssignment& condition) {
        return record.values[condition.column] == condition.value;
      });
}

void RequireId(const CTableReader& table, const std::string& id) {
  const auto fault = FaultOfId(table, id);
  if (fault) EndTrouble(Where(table, id), *fault);
}

std::optional<std::string> FaultOfId(const CTableReader& table,
                                     const std::string& id) {
  const bool isComponent = IsComponent(id);
  if (isComponent && KindOf(id) != EntryKind::kRecord) {
    return "no record, but a leftover or marker";
  }
  if (isComponent && (IsCanonicalId(id) || table.Has(id))) return std::nullopt;
  return "no such record, and no id of a new one";
}

std::optional<std::string> FaultOf(const std::string& value) {
  const KivDB::CRecordText text(value);
  if (text.ok()) return std::nullopt;
  return text.error().substr(text.error().find(": ") + 2);
}

std::string Where(const CTableReader& table, const std::string& id) {
  return table.name() + "/" + id;
}

}  // namespace tool
