// What is left in kiv/migrate.

#include "check/migrations.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace tool {
namespace {

bool IsDirectory(int directory, const char* name) {
  struct stat status {};
  if (fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
    return S_ISDIR(status.st_mode);
  }
  if (errno == ENOENT) return false;
  EndTrouble(std::string("kiv/migrate/") + name,
             WithError("cannot be read", errno));
}

std::vector<CFinding> FindMigrations(const CStore& store) {
  std::vector<CFinding> findings;
  const CDescriptor directory =
      OpenQuietly(AT_FDCWD, store.root() + "/kiv/migrate", O_DIRECTORY);
  if (!directory.isOpen() && errno == ENOENT) return findings;
  if (!directory.isOpen()) {
    EndTrouble("kiv/migrate", WithError("cannot be read", errno));
  }
  const int error = WalkEntries(directory.get(), [&](const dirent& entry) {
    const std::string name = entry.d_name;
    if (!IsDirectory(directory.get(), entry.d_name)) return true;
    const bool isBegun = IsDirectory(directory.get(), (name + "/old").c_str());
    findings.push_back({Severity::kError, "migrate-unfinished", name, "",
                        isBegun ? "the table is not yet whole in its place"
                                : "the table is as it was"});
    return true;
  });
  if (error != 0) {
    EndTrouble("kiv/migrate", WithError("cannot be read", error));
  }
  std::sort(
      findings.begin(), findings.end(),
      [](const CFinding& a, const CFinding& b) { return a.table < b.table; });
  return findings;
}

}  // namespace

void CheckMigrations(CCheckRun& run) {
  std::vector<CFinding> findings = FindMigrations(run.store);
  if (findings.empty()) return;
  run.repair.FinishMigrations(findings);
  for (const CFinding& finding : findings) run.Add(finding);
}

}  // namespace tool
