// Laying planned changes over a table.

#include "draft.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>

#include "arguments.h"
#include "check/names.h"
#include "report.h"

namespace tool {
namespace {

// Deleting a record takes so many from the name of it.
constexpr std::size_t kSuffixesMoved = 2;

CRecord Written(std::optional<CRecord> old, const CRecordWrite& write) {
  if (!write.whole.empty()) {
    CRecord record{write.id, {}, {write.id}};
    record.values.insert(record.values.end(), write.whole.begin(),
                         write.whole.end());
    return record;
  }
  for (const auto& [column, value] : write.changed) {
    old.value().values[column] = value;
  }
  return std::move(old.value());
}

}  // namespace

bool CDraft::Has(const std::string& id) const {
  const auto found = m_records.find(id);
  return found != m_records.end() ? found->second.has_value() : table().Has(id);
}

std::optional<CRecord> CDraft::Read(const std::string& id,
                                    std::string& reason) const {
  const auto found = m_records.find(id);
  if (found == m_records.end()) return table().Read(id, reason);
  reason.clear();
  return found->second;
}

std::vector<std::string> CDraft::Ids() const {
  std::vector<std::string> ids = table().Ids();
  if (m_records.empty()) return ids;
  ids.erase(std::remove_if(
                ids.begin(), ids.end(),
                [this](const auto& id) { return m_records.count(id) > 0; }),
            ids.end());
  for (const auto& [id, record] : m_records) {
    if (record) ids.push_back(id);
  }
  std::sort(ids.begin(), ids.end(), IdsInOrder);
  return ids;
}

std::string CDraft::NextId(unsigned int max) {
  if (!m_highest) m_highest = FindHighest();
  if (*m_highest == std::numeric_limits<unsigned int>::max()) {
    EndTrouble(table().name(), "no id is free above those that are there");
  }
  const unsigned int next = *m_highest + 1;
  if (max != 0 && next > max) {
    EndNo(table().name(), "the next id is " + std::to_string(next) +
                              ", above " + std::to_string(max));
  }
  return std::to_string(static_cast<int>(next));
}

unsigned int CDraft::FindHighest() const {
  unsigned int highest = 0;
  table().ForEachName([&](const char* name) {
    const bool counts = KindOf(name) != EntryKind::kMarker && !IsErased(name);
    if (counts) highest = std::max(highest, LeadingId(name));
    return true;
  });
  for (const auto& [id, record] : m_records) {
    if (record) highest = std::max(highest, LeadingId(id.c_str()));
  }
  return highest;
}

bool CDraft::IsErased(const std::string& name) const {
  if (m_records.empty()) return false;
  const CTemporaryName parsed = ParseTemporary(name);
  const auto found = m_records.find(parsed.id);
  return parsed.suffixes <= kSuffixesMoved && found != m_records.end() &&
         !found->second;
}

void CDraft::Put(const CRecordWrite& write) {
  std::string reason;
  std::optional<CRecord> old;
  if (write.whole.empty()) old = Read(write.id, reason);
  m_records.insert_or_assign(write.id, Written(std::move(old), write));
  if (!m_highest) return;
  m_highest = std::max(*m_highest, LeadingId(write.id.c_str()));
}

void CDraft::Erase(const std::string& id) {
  m_records.insert_or_assign(id, std::nullopt);
  if (m_highest == LeadingId(id.c_str())) m_highest.reset();
}

void CDraft::Foretell(const CContext& context,
                      CDifferences& differences) const {
  const CSchema& schema = table().schema();
  const std::string& name = table().name();
  for (const auto& [id, record] : m_records) {
    std::string reason;
    const auto old = table().Read(id, reason);
    if (old && record) {
      differences.Compare(name, schema, *old, schema, *record);
    } else if (old) {
      differences.Removed(name, schema, *old);
    } else if (record) {
      differences.Added(name, schema, *record);
    } else if (!reason.empty()) {
      context.report.Note(Where(table(), id), reason);
    }
  }
}

}  // namespace tool
