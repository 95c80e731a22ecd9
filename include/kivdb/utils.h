// White space in texts, removed in place.

#ifndef KIVDB_UTILS_H_
#define KIVDB_UTILS_H_

#include <kivdb/export.h>

namespace KivDB {

// A blank is a space, tab, line feed, vertical tab, form feed or carriage
// return.  Bytes of 0x80 and above never are.  Both operations work on a
// writable text, ignore null, and may run in any thread on texts of its own.
class KIVDB_EXPORT CUtils {
 public:
  // Removes the blanks at both ends.
  static void trim(char* s);

  // Removes every blank.
  static void strstrip(char* s);
};

}  // namespace KivDB

#endif  // KIVDB_UTILS_H_
