// A condition, parsed once for a whole listing step.

#ifndef TABLE_CONDITION_H_
#define TABLE_CONDITION_H_

#include <kivdb/column.h>

#include <vector>

#include "core/text_buffer.h"

namespace KivDB {

// The pairs of a condition "key=value,key=value" up to the first that is empty
// or has no "=", with keys stripped of blanks and values trimmed and unescaped.
class CCondition {
 public:
  explicit CCondition(const char* text);

  // Whether there are pairs and each names a column that holds its value.
  // False, logged, when there was no memory for the pairs.
  bool Matches(const std::vector<CColumn*>& columns) const;

 private:
  bool Parse(const char* text);

  CTextBuffer m_pairs;  // key NUL value NUL, and so on
  bool m_parsed;
};

}  // namespace KivDB

#endif  // TABLE_CONDITION_H_
