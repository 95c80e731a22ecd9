// What an archive holds.

#ifndef TOOLS_ARCHIVE_ENTRY_H_
#define TOOLS_ARCHIVE_ENTRY_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

struct archive;
struct archive_entry;

namespace tool {

// One entry, without its content.
struct CArchiveEntry {
  std::string path;  // "kiv/database/hosts/7", of a directory, too
  mode_t mode = 0;   // with the type; none for a hard link
  uid_t user = 0;
  gid_t group = 0;
  std::time_t modified = 0;
  std::int64_t size = 0;

  bool IsDirectory() const { return S_ISDIR(mode); }
  bool IsFile() const { return S_ISREG(mode); }
};

// "a symbolic link": what neither a directory nor a regular file is.
const char* TypeName(mode_t mode);

// What such an entry says besides.
constexpr char kNotHeld[] = ", which no backup holds";

// Tells archives apart by all that their entries hold.
class CArchiveSum {
 public:
  void Begin(const CArchiveEntry& entry);
  void Add(std::string_view content);
  bool operator==(const CArchiveSum& other) const {
    return m_sum == other.m_sum && m_count == other.m_count;
  }

 private:
  std::uint64_t m_sum = 14695981039346656037U;  // FNV-1a
  std::uint64_t m_count = 0;
};

// Ends the command with what the archive library tells of its last failure.
[[noreturn]] void EndArchive(archive* archive, const std::string& where,
                             const std::string& what);

// Whether the archive library warns of nothing but characters that are not
// ASCII, which it keeps byte for byte.
bool IsHarmless(int status, archive_entry* entry);

}  // namespace tool

#endif  // TOOLS_ARCHIVE_ENTRY_H_
