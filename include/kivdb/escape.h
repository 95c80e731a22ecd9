// Escapes: how any text becomes a value.

#ifndef KIVDB_ESCAPE_H_
#define KIVDB_ESCAPE_H_

#include <kivdb/export.h>

#include <string>
#include <string_view>

namespace KivDB {

// The value as record, update and condition texts take it, and record files
// hold it: "\\" for a backslash, "\n", "\r", "\t", "\x7c" for "|", "\x2c" for
// ",", and "\xHH" for other control characters and for the blanks at both ends.
// Everything else stays as it is.  Reading gives the value back, but for a byte
// 0: it becomes "\x00", which reading leaves.
//
// The builders of <kivdb/texts.h> call it themselves.  Both functions may run
// in any thread.  Without memory (logged) Escape gives "?\n?", which no
// operation stores, and Unescape the empty text.
KIVDB_EXPORT std::string Escape(std::string_view value);

// The value that an escaped text reads as, at its full length: where reading
// cuts a value at 2047 bytes, this does not.
KIVDB_EXPORT std::string Unescape(std::string_view text);

}  // namespace KivDB

#endif  // KIVDB_ESCAPE_H_
