// The format on disk: names, separators, modes and sizes.

#ifndef CORE_FORMAT_H_
#define CORE_FORMAT_H_

#include <sys/types.h>

#include <cstddef>

namespace KivDB {

// Below the root: one directory with a directory per table, and one with a
// schema file per table.
constexpr char kTopDirectory[] = "kiv";
constexpr char kDataDirectory[] = "kiv/database";
constexpr char kSchemaDirectory[] = "kiv/schema";

// Before the umask.
constexpr mode_t kTreeMode = 0700;
constexpr mode_t kTableMode = 0775;
constexpr mode_t kSchemaMode = 0666;
constexpr mode_t kRecordMode = 0640;

// Ends every value of a record file and stands between the specs of a schema.
constexpr char kSeparator = '|';

// Behind the path of a record while it is being saved.
constexpr char kTemporarySuffix[] = ".tmp";

// A name that holds one of them is never that of a record.
constexpr const char* kMarkers[] = {".ADD", ".UPDATE"};

// Path buffers, and the bound that paths are cut to, terminator included.
constexpr std::size_t kPathSize = 4096;
constexpr std::size_t kPathBound = 4095;

// The longest path of a record leaves room for the suffix.
constexpr std::size_t kRecordPathMax =
    kPathBound - 1 - (sizeof(kTemporarySuffix) - 1);

// A stored value, unescaped, and a field of a record text, both with their NUL;
// a schema line in an ini file, too.
constexpr std::size_t kValueSize = 2048;

// A record in an ini file, with its NUL.
constexpr std::size_t kIniRecordSize = 4095;

}  // namespace KivDB

#endif  // CORE_FORMAT_H_
