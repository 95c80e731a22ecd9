// Comparing and merging values.

#include "upgrade/merge.h"

#include <kivdb/escape.h>

#include <algorithm>

#include "core/format.h"

namespace KivDB {
namespace {

const std::string kNone;

// Whether the values of a record read as those stored here, column by column.
bool Match(const CSpecs& here, const CShippedTable& table,
           const CStored& values, const CStored& stored) {
  for (std::size_t i = 1; i < here.size(); ++i) {
    const std::string* value = table.Value(values, here[i].name);
    if (value != nullptr && ReadValue(*value) != ReadValue(stored[i - 1])) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::string ReadValue(const std::string& stored) {
  std::string value = Unescape(stored);
  value.resize(std::min(value.size(), kValueSize - 1));
  return value;
}

bool CMerge::IsSame(const CShippedRecord& old,
                    const CShippedRecord& now) const {
  for (std::size_t i = 1; i < m_shipped->columns.size(); ++i) {
    const std::string* before =
        m_base->Value(old.templates, m_shipped->columns[i].name);
    if ((before != nullptr ? *before : kNone) != now.templates[i - 1]) {
      return false;
    }
  }
  return true;
}

bool CMerge::IsDelivered(const CShippedRecord& old,
                         const CStored& stored) const {
  for (std::size_t i = 1; i < m_here.size(); ++i) {
    const bool isOwn = !m_base->columns.Find(m_here[i].name);
    if (isOwn && !ReadValue(stored[i - 1]).empty()) return false;
  }
  return Match(m_here, *m_base, old.values, stored);
}

bool CMerge::IsThere(const CShippedRecord& now, const CStored& stored) const {
  return Match(m_here, *m_shipped, now.values, stored);
}

bool CMerge::Apply(const CShippedRecord& old, const CShippedRecord& now,
                   CStored& stored, std::vector<CUpgradeStep>& steps) const {
  bool isChanged = false;
  for (std::size_t i = 1; i < m_here.size(); ++i) {
    const std::string& column = m_here[i].name;
    const std::string* value = m_shipped->Value(now.values, column);
    if (value == nullptr) continue;
    const std::string* before = m_base->Value(old.values, column);
    CUpgradeStep step{};
    step.column = column;
    step.shipped = ReadValue(before != nullptr ? *before : kNone);
    step.now = ReadValue(*value);
    step.here = ReadValue(stored[i - 1]);
    if (step.now == step.shipped || step.now == step.here) continue;
    step.kind = CUpgradeStep::kValueKept;
    if (step.here == step.shipped) {
      step.kind = CUpgradeStep::kValueChanged;
      stored[i - 1] = *value;
      isChanged = true;
    }
    steps.push_back(std::move(step));
  }
  return isChanged;
}

CStored CMerge::StoredHere(const CShippedRecord& now) const {
  CStored stored;
  for (std::size_t i = 1; i < m_here.size(); ++i) {
    const std::string* value = m_shipped->Value(now.values, m_here[i].name);
    stored.push_back(value != nullptr ? *value : kNone);
  }
  return stored;
}

CShippedRecord CMerge::Carried(const CShippedRecord& old) const {
  if (m_shipped == nullptr) return old;
  CShippedRecord carried;
  for (std::size_t i = 1; i < m_shipped->columns.size(); ++i) {
    const std::string* value =
        m_base->Value(old.templates, m_shipped->columns[i].name);
    carried.templates.push_back(value != nullptr ? *value : kNone);
  }
  return carried;
}

}  // namespace KivDB
