// check: finds and repairs what is damaged.

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "change.h"
#include "check/entries.h"
#include "check/migrations.h"
#include "check/run.h"
#include "check/schemas.h"
#include "commands.h"
#include "store.h"

namespace tool {
namespace {

// The names of what is a directory, or leads to one, among the tables.
Texts Directories(const CStore& store) {
  Texts names;
  const CDescriptor tables =
      OpenQuietly(AT_FDCWD, store.root() + "/kiv/database", O_DIRECTORY);
  if (!tables.isOpen() && errno == ENOENT) return names;
  const int error = WalkEntries(tables.get(), [&](const dirent& entry) {
    struct stat status {};
    const bool isDirectory =
        fstatat(tables.get(), entry.d_name, &status, 0) == 0 &&
        S_ISDIR(status.st_mode);
    if (isDirectory) names.emplace_back(entry.d_name);
    return true;
  });
  if (error != 0) {
    EndTrouble("", WithError("cannot list the table directories", error));
  }
  return names;
}

// Those that are asked for, or all, each once.
Texts Chosen(const CStore& store, const CCheckOptions& options) {
  Texts all = store.Tables();
  const Texts directories = Directories(store);
  all.insert(all.end(), directories.begin(), directories.end());
  Texts chosen = options.tables.empty() ? all : options.tables;
  std::sort(chosen.begin(), chosen.end());
  chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());
  for (const std::string& table : chosen) {
    if (std::find(all.begin(), all.end(), table) == all.end()) {
      EndTrouble(table, "no such table");
    }
  }
  return chosen;
}

void CheckTable(CCheckRun& run, const std::string& table) {
  try {
    CheckSchema(run, table);
    CheckEntries(run, table);
  } catch (const CEnd& end) {
    run.progress.Erase();
    run.context.report.Say(end);
  }
}

}  // namespace

void Check(const CContext& context, const CCheckOptions& options) {
  const CStore store(context.globals.root);
  Chosen(store, options);  // ends what cannot be done
  CCheckRun run(context, store, options);
  if (run.repair.IsActive()) {
    BecomeOwner(store.root());
    SetWait(context.globals);
  }
  CheckMigrations(run);  // they exchange what is checked, or make it
  for (const std::string& table : Chosen(store, options)) {
    if (context.out.IsBroken()) break;
    CheckTable(run, table);
  }
  run.findings.End();
}

}  // namespace tool
