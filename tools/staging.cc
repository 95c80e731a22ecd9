// Making, taking and removing.

#include "staging.h"

#include <dirent.h>
#include <kivdb/dir_iterator.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <utility>

#include "disk.h"
#include "report.h"
#include "store.h"

namespace tool {
namespace {

constexpr mode_t kTreeMode = 0700;
constexpr std::size_t kPathMax = 4090;
constexpr std::size_t kBelow = 320;  // "/kiv.create-XXXXXX/kiv/database/T/N"

bool IsThere(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0) return true;
  if (errno == ENOENT) return false;
  EndTrouble(path, strerror(errno));
}

bool IsEmpty(const std::string& directory) {
  KivDB::CDirIterator entries;
  if (entries.open(directory) != 0) EndTrouble(directory, strerror(errno));
  while (const dirent* entry = entries.read()) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") return false;
  }
  return true;
}

}  // namespace

void RefuseDatabase(const std::string& root) {
  if (root.empty()) EndTrouble("", "no root");
  if (root.size() + kBelow > kPathMax) EndTrouble(root, "too long");
  struct stat status {};
  if (stat(root.c_str(), &status) != 0) {
    if (errno == ENOENT) return;
    EndTrouble(root, strerror(errno));
  }
  if (!S_ISDIR(status.st_mode)) EndTrouble(root, strerror(ENOTDIR));
  if (!IsThere(root + "/kiv")) return;
  if (IsThere(root + "/kiv/schema")) EndNo(root, "there is a database already");
  const std::string tables = root + "/kiv/database";
  if (IsThere(tables) && !IsEmpty(tables)) {
    EndNo(tables, "there are tables already, without their schemas");
  }
}

CStaging::CStaging(std::string root) : m_root(std::move(root)) {
  while (m_root.size() > 1 && m_root.back() == '/') m_root.pop_back();
}

CStaging::~CStaging() {
  try {
    std::error_code ignored;  // there is nobody left to tell
    if (!m_path.empty()) std::filesystem::remove_all(m_path, ignored);
  } catch (const std::bad_alloc&) {
    // It stays, which no later run minds.
  }
  if (m_isTaken) return;
  for (auto made = m_made.rbegin(); made != m_made.rend(); ++made) {
    rmdir(made->c_str());
  }
}

void CStaging::MakeRoot() {
  std::vector<std::string> missing;
  struct stat status {};
  for (std::string directory = m_root; stat(directory.c_str(), &status) != 0;
       directory = ParentOf(directory)) {
    missing.push_back(directory);
    if (ParentOf(directory) == directory) break;
  }
  for (auto next = missing.rbegin(); next != missing.rend(); ++next) {
    if (mkdir(next->c_str(), kTreeMode) == 0) {
      m_made.push_back(*next);
    } else if (errno != EEXIST) {  // as "x/." after x
      EndTrouble(*next, WithError("cannot make the directory", errno));
    }
  }
}

// An empty directory gives way to one of its name in one step.
bool CStaging::IsReplaceable() const {
  const std::string kiv = m_root + "/kiv";
  struct stat root {};
  struct stat status {};
  return stat(m_root.c_str(), &root) == 0 && lstat(kiv.c_str(), &status) == 0 &&
         S_ISDIR(status.st_mode) && status.st_dev == root.st_dev &&
         IsEmpty(kiv) && access(m_root.c_str(), W_OK) == 0;
}

void CStaging::Make() {
  MakeRoot();
  m_hasKiv = IsThere(m_root + "/kiv") && !IsReplaceable();
  // On the file system that it will be renamed in.
  std::string path = m_root + (m_hasKiv ? "/kiv/" : "/kiv.") + "create-XXXXXX";
  if (mkdtemp(path.data()) == nullptr) {
    EndTrouble(m_root, WithError("cannot make a directory", errno));
  }
  m_path = path;
}

void CStaging::Move(const std::string& entry) const {
  const std::string from = m_path + "/" + entry;
  const std::string to = m_root + "/" + entry;
  if (rename(from.c_str(), to.c_str()) == 0) return;
  if (errno == ENOTEMPTY || errno == EEXIST) {
    EndNo(to, "was made meanwhile");
  }
  EndTrouble(to, WithError("cannot be made", errno));
}

// A database is there from its schemas on.
std::vector<std::string> CStaging::EntriesInOrder() const {
  const std::vector<std::string> last = {"kiv/database", "kiv/schema"};
  std::vector<std::string> entries;
  KivDB::CDirIterator names;
  if (names.open(m_path + "/kiv") != 0) EndTrouble(m_path, strerror(errno));
  while (const dirent* name = names.read()) {
    const std::string entry = std::string("kiv/") + name->d_name;
    const bool isLast =
        std::find(last.begin(), last.end(), entry) != last.end();
    if (IsComponent(name->d_name) && !isLast) entries.push_back(entry);
  }
  std::sort(entries.begin(), entries.end());
  entries.insert(entries.end(), last.begin(), last.end());
  return entries;
}

void CStaging::MoveEntries() const {
  const std::vector<std::string> replaceable = {"kiv/base.ini", "kiv/database",
                                                "kiv/schema"};
  const std::vector<std::string> entries = EntriesInOrder();
  for (const std::string& entry : entries) {
    const bool isReplaceable = std::find(replaceable.begin(), replaceable.end(),
                                         entry) != replaceable.end();
    if (!isReplaceable && IsThere(m_root + "/" + entry)) {
      EndNo(m_root + "/" + entry, "is there already");
    }
  }
  for (const std::string& entry : entries) {
    Move(entry);
    SyncDirectory(m_root + "/kiv");
  }
}

void CStaging::Take() {
  if (m_hasKiv) {
    MoveEntries();
  } else {
    Move("kiv");
  }
  m_isTaken = true;
  SyncDirectory(m_root);
  for (const std::string& made : m_made) SyncDirectory(ParentOf(made));
}

}  // namespace tool
