// Ranges over the listing operations.

#include <kivdb/listing.h>
#include <kivdb/status.h>

#include <algorithm>
#include <utility>

#include "core/log.h"
#include "core/no_throw.h"
#include "core/null_text.h"
#include "host/append_escaped.h"

namespace KivDB {

CRow::CRow(const std::vector<CColumn*>& columns)
    : m_columns(columns), m_status(kOk) {}

const char* CRow::id() const {
  return m_columns.empty() ? "" : ValueOf(*m_columns[0]);
}

std::size_t CRow::size() const { return m_columns.size(); }

const CColumn* CRow::Find(std::string_view column) const {
  const auto found =
      std::find_if(m_columns.begin(), m_columns.end(),
                   [&](const CColumn* c) { return column == c->name(); });
  return found != m_columns.end() ? *found : nullptr;
}

// Ends the listing, with its line unless it has one, and gives what an unknown
// column reads as.
std::string_view CRow::Refuse(std::string_view column) const {
  if (std::exchange(m_status, kNoColumn) == kOk) {
    NoThrow([&]() -> int {
      std::string wanted;
      AppendEscaped(column, wanted);
      std::string there = m_columns.empty() ? " none" : "";
      for (const CColumn* c : m_columns) {
        there += std::string(" [") + c->name() + "]";
      }
      return KIVDB_FAIL(kNoColumn, "no column [%s], there are%s",
                        wanted.c_str(), there.c_str());
    });
  }
  return "";
}

std::string_view CRow::operator[](std::string_view column) const {
  const CColumn* found = Find(column);
  return found != nullptr ? ValueOf(*found) : Refuse(column);
}

std::string_view CRow::operator[](std::size_t place) const {
  return place < size() ? ValueOf(*m_columns[place])
                        : Refuse(CValue(place).text());
}

std::vector<std::string> CRow::values() const {
  using Values = std::vector<std::string>;
  return NoThrow<Values>(
      [&] {
        Values values;
        for (const CColumn* column : m_columns) {
          values.emplace_back(ValueOf(*column));
        }
        return values;
      },
      [] {
        NoMemory();
        return Values();
      });
}

CListing::CListing(const CTable& table) : CListing(table, CConditionText()) {}

CListing::CListing(const CTable& table, const CConditionText& condition)
    : m_table(table), m_condition(condition), m_row(m_table.m_columns) {}

CListing::iterator CListing::begin() {
  return Start() ? iterator(this) : end();
}

CListing::iterator CListing::end() { return {}; }

int CListing::status() const { return m_row.m_status; }

bool CListing::Start() {
  m_row.m_status = m_condition.ok() ? kOk : kSyntax;
  return m_row.m_status == kOk && HasColumns() &&
         IsAtRow(m_table.ListRecordsStart(m_condition.c_str()));
}

// Whether each key of the condition is a column.  Values hold no raw comma.
bool CListing::HasColumns() const {
  std::string_view pairs = TextOrEmpty(m_condition.c_str());
  while (!pairs.empty()) {
    const std::string_view key = pairs.substr(0, pairs.find('='));
    if (m_row.Find(key) == nullptr) {
      m_row.Refuse(key);
      return false;
    }
    pairs.remove_prefix(std::min(pairs.find(','), pairs.size() - 1) + 1);
  }
  return true;
}

// False at the end.
bool CListing::Next() {
  return m_row.m_status == kOk &&
         IsAtRow(m_table.ListRecordsNext(m_condition.c_str()));
}

bool CListing::IsAtRow(int status) {
  if (status != kNoRecord) m_row.m_status = status;
  return status == kOk;
}

CListing::iterator& CListing::iterator::operator++() {
  if (!m_listing->Next()) m_listing = nullptr;
  return *this;
}

}  // namespace KivDB
