// drop-table: removes a table with its records.

#include <kivdb/database.h>
#include <kivdb/lock.h>
#include <kivdb/status.h>

#include <cerrno>

#include "change.h"
#include "commands.h"
#include "disk.h"
#include "emptying.h"

namespace tool {
namespace {

void Drop(const CStore& store, const std::string& name) {
  KivDB::CKivDatabase database;
  const int opened = database.open(store.root().c_str());
  if (database.GetTable(name.c_str()) == nullptr) {
    EndTrouble(name, ReasonOf(opened));
  }
  const CSignalHold hold;
  const int status = database.DropTable(name.c_str());
  if (status != KivDB::kOk) EndTrouble(name, ReasonOf(status));
  SyncDirectory(store.PathOf("."));
  SyncDirectory(store.SchemaPathOf("."));
}

}  // namespace

void DropTable(const CContext& context, const CDropOptions& options) {
  const std::string& name = options.table;
  const CStore store(context.globals.root);
  const CTableReader table(store, name);
  if (options.isDryRun) {
    ForetellEmptying(context, table, true);
    return;
  }
  const bool mayEmpty = RequireEmptying(context, table, options, false);
  BecomeOwner(store.root());
  SetWait(context.globals);
  const KivDB::CSchemaLock lock(store.root().c_str());
  if (!lock.isHeld()) EndTrouble("", "cannot lock the set of tables");
  if (table.error() == ENOENT) {
    // Only a table with a directory can be dropped.
    KivDB::CKivDatabase database;
    database.open(store.root().c_str());
    database.createTableF(name.c_str());
  }
  CChange change(context, store, name);
  if (mayEmpty) change.Clear();
  Drop(store, name);
}

}  // namespace tool
