// Checking rows against a table.

#include "import/plan.h"

#include <sys/stat.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "report.h"

namespace tool {
namespace {

using Values = std::vector<CAssignment>;

class CPlanner {
 public:
  CPlanner(CChange& change, CInputRows& input, ImportMode mode)
      : m_change(change),
        m_table(change.reader()),
        m_input(input),
        m_mode(mode) {}

  std::vector<CRecordWrite> Plan() {
    CheckIds();
    std::vector<CRecordWrite> steps;
    unsigned int highest = m_allocated == 0 ? 0 : HighestId();
    for (CInputRow& row : m_input.rows()) {
      if (row.id.empty()) {
        row.id = std::to_string(static_cast<int>(++highest));
        steps.push_back({row.id, Whole(row.values), {}, true});
      } else {
        PlanNamed(row, steps);
      }
    }
    return steps;
  }

 private:
  void CheckIds();
  unsigned int HighestId();
  void PlanNamed(CInputRow& row, std::vector<CRecordWrite>& steps) const;
  bool MustBeAdded(const CInputRow& row) const;
  std::optional<CRecord> Read(const CInputRow& row) const;
  bool CanBeReplaced(const std::string& id) const;
  std::vector<std::string> Whole(Values& values) const;
  Values Completed(Values& values) const;
  [[noreturn]] void Refuse(const CInputRow& row, const std::string& what) const;

  CChange& m_change;
  const CTableReader& m_table;
  CInputRows& m_input;
  ImportMode m_mode;
  unsigned int m_allocated = 0;  // rows without an id
};

void CPlanner::Refuse(const CInputRow& row, const std::string& what) const {
  m_input.Refuse(row.line, Where(m_table, row.id) + ": " + what);
}

void CPlanner::CheckIds() {
  std::unordered_map<std::string_view, std::size_t> lines;
  for (const CInputRow& row : m_input.rows()) {
    if (row.id.empty()) {
      if (m_mode == ImportMode::kUpdate) m_input.Refuse(row.line, 0, "empty");
      ++m_allocated;
      continue;
    }
    const auto fault = FaultOfId(row.id, m_table.Has(row.id));
    if (fault) Refuse(row, *fault);
    const auto [first, isNew] = lines.emplace(row.id, row.line);
    if (isNew) continue;
    Refuse(row, "twice, first in line " + std::to_string(first->second));
  }
}

// Of table and file, with room above it.
unsigned int CPlanner::HighestId() {
  unsigned int highest = m_change.HighestId();
  for (const CInputRow& row : m_input.rows()) {
    // As the library reads names: negative ids are above the others.
    if (!IsCanonicalId(row.id)) continue;
    highest = std::max(highest, static_cast<unsigned int>(std::stoi(row.id)));
  }
  if (highest <= std::numeric_limits<unsigned int>::max() - m_allocated) {
    return highest;
  }
  EndTrouble(m_table.name(), "no id is free above those that are there");
}

void CPlanner::PlanNamed(CInputRow& row,
                         std::vector<CRecordWrite>& steps) const {
  if (MustBeAdded(row)) {
    steps.push_back({row.id, Whole(row.values), {}, true});
    return;
  }
  const auto record = Read(row);
  const auto isThere = [&](const CAssignment& value) {
    return record && record->values[value.column] == value.value;
  };
  const bool isReplaced = m_mode == ImportMode::kReplace;
  Values values = isReplaced ? Completed(row.values) : std::move(row.values);
  if (std::all_of(values.begin(), values.end(), isThere)) return;
  // Only numbers are saved as a whole.
  if (isReplaced && IsCanonicalId(row.id)) {
    steps.push_back({row.id, Whole(values), {}});
    return;
  }
  values.erase(std::remove_if(values.begin(), values.end(), isThere),
               values.end());
  m_change.RequireUpdatable(row.id, values);
  steps.push_back({row.id, {}, std::move(values)});
}

// False for a record that is there and may be changed.
bool CPlanner::MustBeAdded(const CInputRow& row) const {
  if (m_table.Has(row.id)) {
    if (m_mode != ImportMode::kAdd) return false;
    Refuse(row, "is there already; see --replace and --update");
  }
  if (m_change.IsInterrupted(row.id)) {
    Refuse(row, "only the temporary file is there: run check");
  }
  if (m_mode == ImportMode::kUpdate) Refuse(row, "no such record");
  return true;
}

// Nothing for an unusable record that can be replaced.
std::optional<CRecord> CPlanner::Read(const CInputRow& row) const {
  std::string reason;
  auto record = m_table.Read(row.id, reason);
  const bool isDone =
      record || (m_mode == ImportMode::kReplace && CanBeReplaced(row.id));
  if (isDone) return record;
  EndTrouble(m_input.Place(row.line),
             Where(m_table, row.id) + ": " +
                 (reason.empty() ? "has gone meanwhile" : reason));
}

bool CPlanner::CanBeReplaced(const std::string& id) const {
  struct stat status {};
  return IsCanonicalId(id) &&
         fstatat(m_table.directory(), id.c_str(), &status, 0) == 0 &&
         S_ISREG(status.st_mode);
}

// In the order of the columns behind the id; takes the texts.
std::vector<std::string> CPlanner::Whole(Values& values) const {
  std::vector<std::string> whole(m_table.schema().columns.size() - 1);
  for (auto& [column, value] : values) whole[column - 1] = std::move(value);
  return whole;
}

// With an empty value for each column that is not named.
Values CPlanner::Completed(Values& values) const {
  Values all;
  for (std::string& value : Whole(values)) {
    all.push_back({all.size() + 1, std::move(value)});
  }
  return all;
}

}  // namespace

std::vector<CRecordWrite> PlanImport(CChange& change, CInputRows& input,
                                     ImportMode mode) {
  return CPlanner(change, input, mode).Plan();
}

}  // namespace tool
