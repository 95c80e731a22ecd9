// The version of these headers and that of the library.

#ifndef KIVDB_VERSION_H_
#define KIVDB_VERSION_H_

#include <kivdb/export.h>

// Of the headers that a host is compiled with, for the preprocessor.
#define KIVDB_VERSION_MAJOR 1
#define KIVDB_VERSION_MINOR 1
#define KIVDB_VERSION_PATCH 0

#define KIVDB_VERSION_QUOTED(text) #text
#define KIVDB_VERSION_TEXT(major, minor, patch) \
  KIVDB_VERSION_QUOTED(major)                   \
  "." KIVDB_VERSION_QUOTED(minor) "." KIVDB_VERSION_QUOTED(patch)

// "1.1.0" for 1, 1 and 0.
#define KIVDB_VERSION                                          \
  KIVDB_VERSION_TEXT(KIVDB_VERSION_MAJOR, KIVDB_VERSION_MINOR, \
                     KIVDB_VERSION_PATCH)

namespace KivDB {

// KIVDB_VERSION of the library that runs.  From any thread.
KIVDB_EXPORT const char* Version();

}  // namespace KivDB

#endif  // KIVDB_VERSION_H_
