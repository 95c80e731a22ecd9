// The version that the library was built as.

#include <kivdb/version.h>

namespace KivDB {

const char* Version() { return KIVDB_VERSION; }

}  // namespace KivDB
