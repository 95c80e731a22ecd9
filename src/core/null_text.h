// What stands for a text that is null.

#ifndef CORE_NULL_TEXT_H_
#define CORE_NULL_TEXT_H_

#include <kivdb/column.h>

namespace KivDB {

inline const char* TextOrEmpty(const char* text) {
  return text != nullptr ? text : "";
}

// The column's value; a column without one reads as the empty text.
inline const char* ValueOf(const CColumn& column) {
  return TextOrEmpty(column.data());
}

}  // namespace KivDB

#endif  // CORE_NULL_TEXT_H_
