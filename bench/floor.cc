// The floor: the fewest system calls that the files on disk ask for.

#include "floor.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace bench {
namespace {

constexpr std::size_t kEntriesSize = 32768;
constexpr int kReadFlags = O_RDONLY | O_CLOEXEC;
constexpr int kDirectoryFlags = kReadFlags | O_DIRECTORY;
constexpr int kWriteFlags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;

// Neither "." nor ".." nor a marker.
bool IsRecordName(const char* name) {
  const char* dot = std::strchr(name, '.');
  if (dot == nullptr) return true;
  return std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0 &&
         std::strstr(dot, ".ADD") == nullptr &&
         std::strstr(dot, ".UPDATE") == nullptr;
}

int LeadingNumber(const char* name) {
  int number = 0;
  while (*name >= '0' && *name <= '9') number = number * 10 + (*name++ - '0');
  return number;
}

std::string_view Field(std::string_view content, int field) {
  while (field-- > 0) {
    content.remove_prefix(std::min(content.find('|') + 1, content.size()));
  }
  return content.substr(0, content.find('|'));
}

bool WriteFile(const char* path, std::string_view content, bool isSynced) {
  const int fd = open(path, kWriteFlags, 0640);
  bool ok = write(fd, content.data(), content.size()) ==
            static_cast<ssize_t>(content.size());
  if (isSynced) ok = fsync(fd) == 0 && ok;
  return close(fd) == 0 && ok;
}

}  // namespace

CFloor::CFloor(const CPlace& place)
    : CContestant(place),
      m_table(place.root + kTable),
      m_entries(kEntriesSize),
      m_content{} {}

// Calls visit with the directory's descriptor and the name of each record until
// it returns false.
template <typename Visit>
bool CFloor::Scan(Visit visit) {
  const int directory = open(m_table.c_str(), kDirectoryFlags);
  bool goesOn = directory >= 0;
  while (goesOn) {
    const ssize_t got =
        getdents64(directory, m_entries.data(), m_entries.size());
    if (got <= 0) break;
    for (ssize_t at = 0; goesOn && at < got;) {
      const char* bytes = m_entries.data() + at;
      const auto* entry = reinterpret_cast<const dirent64*>(bytes);
      at += entry->d_reclen;
      if (IsRecordName(entry->d_name)) goesOn = visit(directory, entry->d_name);
    }
  }
  return close(directory) == 0;
}

// The content is valid until the next call.
std::string_view CFloor::ReadFile(int directory, const char* path) {
  const int fd = openat(directory, path, kReadFlags);
  const ssize_t got = read(fd, m_content, sizeof(m_content) - 1);
  close(fd);
  return {m_content, static_cast<std::size_t>(std::max<ssize_t>(got, 0))};
}

int CFloor::List() {
  int records = 0;
  Scan([&](int directory, const char* name) {
    if (!ReadFile(directory, name).empty()) ++records;
    return true;
  });
  return records;
}

int CFloor::Match() {
  int records = 0;
  Scan([&](int directory, const char* name) {
    if (Field(ReadFile(directory, name), 1) == kWantedKind) ++records;
    return true;
  });
  return records;
}

int CFloor::Count() {
  int records = 0;
  Scan([&](int, const char*) { return ++records > 0; });
  return records;
}

int CFloor::HighestId() {
  int highest = 0;
  Scan([&](int, const char* name) {
    highest = std::max(highest, LeadingNumber(name));
    return true;
  });
  return highest;
}

bool CFloor::Read(const CRecord& record) {
  SetPath(record.idText);
  return Field(ReadFile(AT_FDCWD, m_path.c_str()), 0) == record.name;
}

bool CFloor::Find(const CRecord& record) {
  bool isFound = false;
  Scan([&](int directory, const char* name) {
    const std::string_view content = ReadFile(directory, name);
    isFound = record.idText == name && Field(content, 0) == record.name;
    return !isFound;
  });
  return isFound;
}

void CFloor::SetPath(std::string_view id) {
  m_path.assign(m_table).append("/").append(id);
  m_temporary.assign(m_path).append(".tmp");
}

// Saves the record of the current path.
bool CFloor::Save(std::string_view content) {
  bool ok = WriteFile(m_temporary.c_str(), content, true);
  if (access(m_path.c_str(), F_OK) == 0) ok = unlink(m_path.c_str()) == 0 && ok;
  ok = rename(m_temporary.c_str(), m_path.c_str()) == 0 && ok;
  const int directory = open(m_table.c_str(), kDirectoryFlags);
  ok = fsync(directory) == 0 && ok;
  return close(directory) == 0 && ok;
}

bool CFloor::Add(const CRecord& record) {
  SetPath(record.idText);
  return Save(record.content);
}

bool CFloor::AddAllocated(const CRecord& record) {
  return HighestId() + 1 == record.id && Add(record);
}

bool CFloor::Update(const CRecord& record) {
  SetPath(record.idText);
  if (access(m_path.c_str(), F_OK) != 0) return false;
  const std::string_view content = ReadFile(AT_FDCWD, m_path.c_str());
  const std::string_view old = Field(content, 2);
  // The new note is as long as the old one.
  std::memcpy(m_content + (old.data() - m_content), m_update + kNoteAt,
              old.size());
  return Save(content);
}

bool CFloor::Delete(const CRecord& record) {
  SetPath(record.idText);
  return unlink(m_path.c_str()) == 0;
}

bool CFloor::Create() {
  CFloor made({m_place.newRoot, "", ""});
  const std::string top = m_place.newRoot + "/kiv";
  bool ok = true;
  for (const auto& path : {top, top + "/schema", top + "/database"}) {
    ok = mkdir(path.c_str(), 0700) == 0 && ok;
  }
  ok = WriteFile((top + "/schema/records").c_str(), kSchema, false) && ok;
  ok = mkdir(made.m_table.c_str(), 0775) == 0 && ok;

  struct stat status {};
  stat(m_place.creationFile.c_str(), &status);
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  const int fd = open(m_place.creationFile.c_str(), kReadFlags);
  ok = read(fd, text.data(), text.size()) == status.st_size && ok;
  close(fd);
  std::string content;
  return VisitRecords(
             text,
             [&](const auto& fields) {
               content.assign(fields[1]).append("|").append(fields[2]).append(
                   "|");
               content.append(fields[3]).append("|");
               made.SetPath(fields[0]);
               return made.Save(content);
             }) &&
         ok;
}

bool CFloor::Insert(const Records& records) {
  return std::all_of(records.begin(), records.end(), [&](const CRecord& r) {
    SetPath(r.idText);
    return WriteFile(m_path.c_str(), r.content, false);
  });
}

bool CFloor::Remove(const Records& records) {
  return std::all_of(records.begin(), records.end(),
                     [&](const CRecord& r) { return CFloor::Delete(r); });
}

int CFloor::CountCreated() { return CFloor({m_place.newRoot, "", ""}).List(); }

std::unique_ptr<CContestant> MakeFloor(const CPlace& place) {
  return std::make_unique<CFloor>(place);
}

}  // namespace bench
