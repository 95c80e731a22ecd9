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
  // Throws std::bad_alloc.
  explicit CCondition(const char* text);

  // Whether there are pairs and each names a column that holds its value.
  bool Matches(const std::vector<CColumn*>& columns) const;

 private:
  CTextBuffer m_pairs;  // key NUL value NUL, and so on
};

}  // namespace KivDB

#endif  // TABLE_CONDITION_H_
