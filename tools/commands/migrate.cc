// migrate: other columns for a table.

#include <kivdb/migrate.h>
#include <kivdb/status.h>

#include "change.h"
#include "commands.h"
#include "difference.h"
#include "disk.h"
#include "store.h"

namespace tool {

void Migrate(const CContext& context, const CMigrateOptions& options) {
  const CStore store(context.globals.root);
  const char* root = store.root().c_str();
  const CSignalHold hold;
  if (!options.isDryRun) {
    BecomeOwner(store.root());
    SetWait(context.globals);
    const int status = KivDB::FinishMigrations(root);
    if (status != KivDB::kOk) EndTrouble("", ReasonOf(status));
  }
  const CSchema before = store.Schema(options.table);
  std::string line;
  const int status =
      KivDB::MigrateTable(root, options.table.c_str(), options.columns.c_str(),
                          {options.isForced, options.isDryRun}, &line);
  if (status != KivDB::kOk) {
    const bool needsForce = status == KivDB::kNotEmpty && !options.isForced;
    EndTrouble("", ReasonOf(status) + (needsForce ? ": --force does it" : ""));
  }
  CDifferences differences(context);
  differences.Columns(options.table, before, ParseSchema(line));
  differences.End();
}

}  // namespace tool
