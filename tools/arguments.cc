// Columns, values and ids.

#include "arguments.h"

#include <kivdb/texts.h>

#include <algorithm>

#include "report.h"

namespace tool {

std::size_t ColumnOf(const CTableReader& table, const std::string& name) {
  const auto column = table.schema().Find(name);
  if (column) return *column;
  EndUsage(table.name(),
           "no column " + name + ", there are " + table.schema().Names());
}

std::vector<CAssignment> ParseAssignments(
    const CTableReader& table, const std::vector<std::string>& texts) {
  std::vector<CAssignment> assignments;
  for (const std::string& text : texts) {
    const std::size_t sign = text.find('=');
    if (sign == text.npos) {
      EndUsage(table.name(), "no COLUMN=VALUE: " + text);
    }
    const std::size_t column = ColumnOf(table, text.substr(0, sign));
    const bool isTwice = std::any_of(
        assignments.begin(), assignments.end(),
        [&](const CAssignment& other) { return other.column == column; });
    if (isTwice) EndUsage(table.name(), "twice: " + text.substr(0, sign));
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
      EndUsage(table.name(), "the " + name + " cannot be set");
    }
    const auto fault = FaultOf(value);
    if (fault) EndUsage(table.name() + "." + name, *fault);
  }
  return values;
}

bool Meets(const CRecord& record, const std::vector<CAssignment>& conditions) {
  return std::all_of(
      conditions.begin(), conditions.end(), [&](const CAssignment& condition) {
        return record.values[condition.column] == condition.value;
      });
}

void RequireId(const CTableReader& table, const std::string& id, bool isThere) {
  const auto fault = FaultOfId(id, isThere);
  if (fault) EndUsage(Where(table, id), *fault);
}

std::optional<std::string> FaultOfId(const std::string& id, bool isThere) {
  const bool isComponent = IsComponent(id);
  if (isComponent && KindOf(id) != EntryKind::kRecord) {
    return "no record, but a leftover or marker";
  }
  if (isComponent && (IsCanonicalId(id) || isThere)) return std::nullopt;
  return "no such record, and no id of a new one";
}

std::optional<std::string> FaultOf(const std::string& value) {
  const KivDB::CRecordText text(value);
  if (text.ok()) return std::nullopt;
  return text.error().substr(text.error().find(": ") + 2);
}

void RequireColumns(const CTableReader& table) {
  if (table.schema().columns.size() >= 2) return;
  EndTrouble(table.name(), "has no column but the id");
}

std::string Where(const CTableReader& table, const std::string& id) {
  return table.name() + "/" + id;
}

}  // namespace tool
