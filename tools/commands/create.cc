// create: a new database from a creation file.

#include <fcntl.h>
#include <kivdb/database.h>
#include <kivdb/status.h>
#include <sys/statvfs.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdio>

#include "change.h"
#include "commands.h"
#include "comparison.h"
#include "creation.h"
#include "disk.h"
#include "input.h"
#include "staging.h"

namespace tool {
namespace {

constexpr mode_t kBaseMode = 0640;
constexpr std::size_t kFingerprint = 16;  // behind a schema line

// The options count, then the file; 0 and the empty host are the library's
// words for none.
CPlaceholders Choose(const CCreateOptions& options, const CCreationFile& file) {
  CPlaceholders placeholders = file.Placeholders();
  if (options.id) placeholders.id = *options.id != 0 ? *options.id : 1;
  if (!options.host.empty()) placeholders.host = options.host;
  const auto fault = FaultOfHost(options.host);
  if (fault) EndTrouble("--host", *fault);
  return placeholders;
}

// The library's line does not tell.
bool IsFull(const std::string& directory) {
  struct statvfs figures {};
  if (statvfs(directory.c_str(), &figures) != 0) return false;
  const bool countsFiles = figures.f_files != 0;  // some file systems do not
  return figures.f_bavail == 0 || (countsFiles && figures.f_favail == 0);
}

// Where a write does not tell that the disk is full, reading does.
void RequireComplete(const std::string& root,
                     const std::vector<CCreationTable>& tables) {
  const CStore store(root);
  for (const CCreationTable& table : tables) {
    const CTableReader reader(store, table.name);
    const CLine file = ReadWhole(AT_FDCWD, store.SchemaPathOf(table.name));
    if (reader.schema().line != table.schema.line ||
        file.text.size() != table.schema.line.size() + 1 + kFingerprint ||
        reader.Ids().size() != table.records.size()) {
      EndTrouble(table.name, "not written as a whole");
    }
  }
}

// The library reads the very file that is kept.
void Build(const std::string& stage, const CCreationFile& file,
           const CPlaceholders& placeholders,
           const std::vector<CCreationTable>& tables) {
  const std::string base = stage + "/base.ini";
  const std::string kept = stage + "/kiv/base.ini";
  ReplaceFile(base, file.TextWith(placeholders), kBaseMode);
  KivDB::CKivDatabase database;
  database.open(stage.c_str());  // sets the root: there is nothing to open
  const int status =
      database.Create(base.c_str(), placeholders.id, placeholders.host.c_str());
  if (status != KivDB::kOk) {
    EndTrouble("", "cannot create the database: " + ReasonOf(status) +
                       (IsFull(stage) ? " (the disk is full)" : ""));
  }
  RequireComplete(stage, tables);
  if (rename(base.c_str(), kept.c_str()) != 0) {
    EndTrouble(kept, WithError("cannot write", errno));
  }
  SyncDirectory(stage + "/kiv");
}

}  // namespace

void Create(const CContext& context, const CCreateOptions& options) {
  const CCreationFile file(InputName(options.file), ReadInput(options.file));
  const CPlaceholders placeholders = Choose(options, file);
  const auto tables = file.Tables(placeholders);
  const std::string& root = context.globals.root;
  RefuseDatabase(root);
  if (options.isDryRun) {
    PrintDifferences(context, *MakeFileSide({}), *MakeFileSide(tables));
    return;
  }
  BecomeOwner(root);
  SetWait(context.globals);
  const CSignalHold hold;
  CStaging staging(root);
  staging.Make();
  Build(staging.path(), file, placeholders, tables);
  staging.Take();
}

}  // namespace tool
