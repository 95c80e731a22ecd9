// Renaming below kiv, forced to disk in an order that loses nothing.

#include <kivdb/removed.h>
#include <kivdb/status.h>
#include <sys/stat.h>

#include <cerrno>
#include <ctime>

#include "base/cancellation.h"
#include "core/format.h"
#include "core/no_throw.h"
#include "core/null_text.h"
#include "upgrade/disk.h"

namespace KivDB {
namespace {

std::string Now() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  char text[32];
  std::strftime(text, sizeof(text), "%Y%m%dT%H%M%SZ", gmtime_r(&now, &utc));
  return text;
}

}  // namespace

CRemoved::CRemoved(const char* root)
    : m_kiv(std::string(TextOrEmpty(root)) + "/" + kTopDirectory) {}

int CRemoved::Move(const char* entry, std::string& moved) {
  const CCancellationHold hold;
  return NoThrow([&] { return MoveEntry(TextOrEmpty(entry), moved); });
}

// Every run has a folder of its own.
int CRemoved::MakeFolder() {
  const std::string removed = m_kiv + "/removed";
  const int status = MakeDirectory(removed, kTreeMode);
  if (status != kOk) return status;
  const std::string first = "removed/" + Now();
  std::string folder = first;
  for (int i = 2; mkdir((m_kiv + "/" + folder).c_str(), kTreeMode) != 0; ++i) {
    if (errno != EEXIST) return DiskError("make the directory", folder);
    folder = first + "-" + std::to_string(i);
  }
  m_folder.swap(folder);
  return SyncDirectory(removed);
}

int CRemoved::MoveEntry(const std::string& entry, std::string& moved) {
  const std::string from = m_kiv + "/" + entry;
  for (;;) {
    int status = m_folder.empty() ? MakeFolder() : int{kOk};
    std::string to = m_kiv + "/" + m_folder + "/";
    for (std::size_t at = 0;
         status == kOk && (at = entry.find('/', at)) != entry.npos; ++at) {
      status = MakeDirectory(to + entry.substr(0, at), kTreeMode);
    }
    if (status != kOk) return status;
    status = RenameNew(from, to + entry);
    if (status == kOk) {
      moved = std::string(kTopDirectory) + "/" + m_folder + "/" + entry;
    }
    if (status != kNotEmpty) return status;
    m_folder.clear();  // the name is taken there: a new folder
  }
}

}  // namespace KivDB
