// What names tell of entries.

#ifndef TOOLS_CHECK_NAMES_H_
#define TOOLS_CHECK_NAMES_H_

#include <cstddef>
#include <optional>
#include <string>

namespace tool {

// What follows the name of a record in that of its temporary file, and again
// in that of a change to the temporary file.
inline constexpr char kTemporarySuffix[] = ".tmp";

// Whether the name is one that an editor or package manager gives what it
// leaves behind.  Temporary files are not counted.
bool IsLeftoverName(const std::string& name);

// The record that a temporary file is of, and how many suffixes it has.
struct CTemporaryName {
  std::string id;
  std::size_t suffixes = 0;
};
CTemporaryName ParseTemporary(const std::string& name);

// The number that the name counts as when a new id is chosen.
unsigned int LeadingId(const char* name);

// That number, where the ids after it are none that a new record can have.
std::optional<unsigned int> ExhaustingId(const char* name);

}  // namespace tool

#endif  // TOOLS_CHECK_NAMES_H_
