// clear: deletes all records of a table.

#include "change.h"
#include "commands.h"
#include "emptying.h"

namespace tool {

void Clear(const CContext& context, const CDropOptions& options) {
  const CStore store(context.globals.root);
  if (options.isDryRun) {
    ForetellEmptying(context, CTableReader(store, options.table), false);
    return;
  }
  // Before the lock: nobody waits for a person's answer.
  RequireEmptying(context, CTableReader(store, options.table), options, true);
  CChange(context, store, options.table).Clear();
}

}  // namespace tool
