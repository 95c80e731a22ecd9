// Renaming below kiv, forced to disk in an order that loses nothing.

#include "removed.h"

#include <sys/stat.h>

#include <cerrno>
#include <ctime>

#include "disk.h"
#include "report.h"

namespace tool {
namespace {

std::string Now() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  char text[32];
  std::strftime(text, sizeof(text), "%Y%m%dT%H%M%SZ", gmtime_r(&now, &utc));
  return text;
}

}  // namespace

void CRemoved::MakeDirectory(const std::string& path) const {
  if (mkdir(path.c_str(), 0700) == 0) {
    SyncDirectory(ParentOf(path));
  } else if (errno != EEXIST) {
    EndTrouble(path, WithError("cannot make the directory", errno));
  }
}

// Every run has one of its own.
void CRemoved::MakeFolder() {
  MakeDirectory(m_kiv + "/removed");
  const std::string first = "removed/" + Now();
  m_folder = first;
  for (int i = 2; mkdir((m_kiv + "/" + m_folder).c_str(), 0700) != 0; ++i) {
    if (errno != EEXIST) {
      EndTrouble(m_folder, WithError("cannot make the directory", errno));
    }
    m_folder = first + "-" + std::to_string(i);
  }
  SyncDirectory(m_kiv + "/removed");
}

std::string CRemoved::Move(const std::string& entry) {
  const std::string from = m_kiv + "/" + entry;
  for (;;) {
    if (m_folder.empty()) MakeFolder();
    std::string to = m_kiv + "/" + m_folder;
    for (std::size_t at = 0; (at = entry.find('/', at)) != entry.npos; ++at) {
      MakeDirectory(to + "/" + entry.substr(0, at));
    }
    to += "/" + entry;
    if (RenameNew(from, to)) {
      SyncDirectory(ParentOf(to));
      SyncDirectory(ParentOf(from));
      return "kiv/" + m_folder + "/" + entry;
    }
    if (errno != EEXIST) EndTrouble(from, WithError("cannot move", errno));
    m_folder.clear();  // the name is taken there: a new folder
  }
}

}  // namespace tool
