// Names, files and directories of an archive that may be anybody's.

#include "archive/unpacking.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "archive/packing.h"
#include "descriptor.h"
#include "disk.h"
#include "report.h"
#include "store.h"

namespace tool {
namespace {

constexpr mode_t kModes = 0777;          // that are kept
constexpr mode_t kDirectoryMode = 0700;  // where the archive tells none
constexpr mode_t kFileMode = 0600;       // until it is written

std::vector<std::string> SplitPath(const std::string& path) {
  std::vector<std::string> components;
  for (std::size_t at = 0; at <= path.size();) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    components.push_back(path.substr(at, end - at));
    at = end + 1;
  }
  return components;
}

// Its mode and times, and all of it on disk.
void Complete(int file, const std::string& path, mode_t mode,
              std::time_t modified) {
  const timespec times[2] = {{0, UTIME_OMIT}, {modified, 0}};
  if (fchmod(file, mode) != 0 || futimens(file, times) != 0 ||
      fsync(file) != 0) {
    EndTrouble(path, WithError("cannot write", errno));
  }
}

void CompleteDirectory(const std::string& path, mode_t mode,
                       std::time_t modified) {
  const CDescriptor directory(
      open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!directory.isOpen()) EndTrouble(path, WithError("cannot open", errno));
  Complete(directory.get(), path, mode, modified);
}

// One that is renamed: kiv, or what stands in it.
bool IsTop(const std::string& path) {
  return std::count(path.begin(), path.end(), '/') < 2;
}

mode_t ModeOf(const CArchiveEntry& entry) { return entry.mode & kModes; }

}  // namespace

CUnpacker::CUnpacker(const CContext& context, std::string stage)
    : m_context(context), m_stage(std::move(stage)) {}

CUnpacker::~CUnpacker() {
  for (const auto& [path, entry] : m_directories) {
    chmod((m_stage + "/" + path).c_str(), kDirectoryMode);
  }
}

std::optional<std::string> CUnpacker::PathOf(const CArchiveEntry& entry) {
  std::string path = entry.path;
  while (path.compare(0, 2, "./") == 0) path.erase(0, 2);
  if (entry.IsDirectory() && (path.empty() || path == ".")) {
    return std::nullopt;
  }
  const std::vector<std::string> components = SplitPath(path);
  if (components.front() != "kiv" ||
      !std::all_of(components.begin(), components.end(), IsComponent)) {
    EndTrouble(entry.path, "no name below kiv");
  }
  if (components.size() > 1 && IsLeftOut(components[1])) {
    if (!std::exchange(m_hasNoted, true)) {
      m_context.report.Note("kiv/" + components[1], "left out");
    }
    return std::nullopt;
  }
  if (!entry.IsDirectory() && !entry.IsFile()) {
    EndTrouble(entry.path, TypeName(entry.mode) + std::string(kNotHeld));
  }
  if (!m_names.insert(path).second) EndTrouble(entry.path, "is there twice");
  return path;
}

void CUnpacker::Add(CArchiveReader& archive) {
  const CArchiveEntry& entry = archive.entry();
  const auto path = PathOf(entry);
  if (!path) return;
  MakeParents(*path);
  if (entry.IsDirectory()) {
    MakeDirectory(*path, entry);
  } else {
    WriteFile(*path, archive);
  }
}

// The modes come last.
void CUnpacker::MakeDirectory(const std::string& path,
                              const CArchiveEntry& entry) {
  const bool isNew = m_directories.insert_or_assign(path, entry).second;
  if (isNew && mkdir((m_stage + "/" + path).c_str(), kDirectoryMode) != 0) {
    EndTrouble(path, WithError("cannot make the directory", errno));
  }
}

// An archive need not hold them.
void CUnpacker::MakeParents(const std::string& path) {
  CArchiveEntry entry;
  entry.mode = S_IFDIR | kDirectoryMode;
  entry.modified = std::time(nullptr);
  for (std::size_t at = 0; (at = path.find('/', at)) != path.npos; ++at) {
    const std::string parent = path.substr(0, at);
    if (m_directories.count(parent) == 0) MakeDirectory(parent, entry);
  }
}

void CUnpacker::WriteFile(const std::string& path,
                          CArchiveReader& archive) const {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  const CDescriptor file(
      open((m_stage + "/" + path).c_str(), kFlags, kFileMode));
  if (!file.isOpen()) EndTrouble(path, WithError("cannot write", errno));
  archive.ReadContent([&](std::string_view piece) {
    if (!WriteAll(file.get(), piece)) {
      EndTrouble(path, WithError("cannot write", errno));
    }
  });
  const CArchiveEntry& entry = archive.entry();
  Complete(file.get(), path, ModeOf(entry), entry.modified);
}

void CUnpacker::Finish(const std::string& name) {
  if (m_directories.count("kiv/schema") == 0) {
    EndTrouble(name, "no database in the archive");
  }
  if (m_directories.count("kiv/database") == 0) MakeParents("kiv/database/");
  // What stands in a directory is complete before it.
  for (auto at = m_directories.rbegin(); at != m_directories.rend(); ++at) {
    const auto& [path, entry] = *at;
    CompleteDirectory(m_stage + "/" + path,
                      ModeOf(entry) | (IsTop(path) ? S_IRWXU : 0),
                      entry.modified);
  }
  SyncDirectory(m_stage);
}

void CUnpacker::Settle(const std::string& root, bool keepsKiv) const {
  const std::string prefix = root + "/";
  for (auto at = m_directories.rbegin(); at != m_directories.rend(); ++at) {
    const auto& [path, entry] = *at;
    const bool isTaken = path != "kiv" || !keepsKiv;
    if (isTaken && IsTop(path) && (ModeOf(entry) & S_IRWXU) != S_IRWXU) {
      CompleteDirectory(prefix + path, ModeOf(entry), entry.modified);
    }
  }
}

}  // namespace tool
