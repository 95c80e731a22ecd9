// Parsing and meeting conditions.

#include "table/condition.h"

#include <kivdb/utils.h>

#include <algorithm>
#include <cstring>

#include "core/format.h"
#include "core/null_text.h"
#include "zel.h"

namespace KivDB {
namespace {

bool HasValue(const std::vector<CColumn*>& columns, const char* key,
              const char* value) {
  return std::any_of(columns.begin(), columns.end(), [&](const CColumn* c) {
    return std::strcmp(c->name(), key) == 0 &&
           std::strcmp(ValueOf(*c), value) == 0;
  });
}

}  // namespace

CCondition::CCondition(const char* text) {
  CTextBuffer copy;
  copy.Append(text);
  char* pairs = copy.data();
  while (char* value = StringGetNextA(&pairs, ',')) {
    char* key = StringGetNextA(&value, '=');
    if (key == nullptr || value == nullptr) break;
    CUtils::strstrip(key);
    CUtils::trim(value);
    char unescaped[kValueSize] = "";
    StringUnescapeA(value, unescaped, sizeof(unescaped));
    m_pairs.Append(key, std::strlen(key) + 1);
    m_pairs.Append(unescaped, std::strlen(unescaped) + 1);
  }
}

bool CCondition::Matches(const std::vector<CColumn*>& columns) const {
  const char* key = m_pairs.data();
  const char* const end = key + m_pairs.size();
  while (key < end) {
    const char* value = key + std::strlen(key) + 1;
    if (!HasValue(columns, key, value)) return false;
    key = value + std::strlen(value) + 1;
  }
  return m_pairs.size() > 0;
}

}  // namespace KivDB
