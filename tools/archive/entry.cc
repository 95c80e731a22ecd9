// Types, sums, and the words of the archive library.

#include "archive/entry.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>

#include "report.h"

namespace tool {
namespace {

constexpr std::uint64_t kPrime = 1099511628211U;  // FNV-1a

bool IsAscii(const char* text) {
  const std::string_view view = text != nullptr ? text : "";
  return std::all_of(view.begin(), view.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x80;
  });
}

}  // namespace

const char* TypeName(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFLNK:
      return "a symbolic link";
    case S_IFIFO:
      return "a FIFO";
    case S_IFSOCK:
      return "a socket";
    case S_IFBLK:
    case S_IFCHR:
      return "a device";
    default:
      return "a hard link";
  }
}

void CArchiveSum::Begin(const CArchiveEntry& entry) {
  ++m_count;
  Add(entry.path);
  for (const std::int64_t number :
       {std::int64_t{entry.mode}, std::int64_t{entry.user},
        std::int64_t{entry.group}, std::int64_t{entry.modified}, entry.size}) {
    Add(" " + std::to_string(number));
  }
}

void CArchiveSum::Add(std::string_view content) {
  for (const char c : content) {
    m_sum = (m_sum ^ static_cast<unsigned char>(c)) * kPrime;
  }
}

void EndArchive(archive* archive, const std::string& where,
                const std::string& what) {
  const char* reason = archive_error_string(archive);
  EndTrouble(where, reason != nullptr ? what + ": " + reason : what);
}

bool IsHarmless(int status, archive_entry* entry) {
  if (status != ARCHIVE_WARN) return status == ARCHIVE_OK;
  return !IsAscii(archive_entry_pathname(entry)) ||
         !IsAscii(archive_entry_uname(entry)) ||
         !IsAscii(archive_entry_gname(entry));
}

}  // namespace tool
