// delete: records by their ids or values.

#include <algorithm>

#include "arguments.h"
#include "change.h"
#include "check/leftovers.h"
#include "commands.h"
#include "emptying.h"
#include "removed.h"

namespace tool {
namespace {

Texts Missing(const CTableReader& table, const Texts& ids) {
  Texts missing;
  for (const std::string& id : ids) {
    RequireId(table, id);
    if (!table.Has(id)) missing.push_back(id);
  }
  return missing;
}

// The ids that are there; without force they must be all.
Texts ChosenIds(const CContext& context, const CChange& change,
                const CDeleteOptions& options) {
  const CTableReader& table = change.reader();
  const Texts missing = Missing(table, options.ids);
  if (!options.isForced) {
    for (const std::string& id : missing) {
      context.report.No(Where(table, id),
                        change.IsInterrupted(id)
                            ? "only the temporary file is there: run check"
                            : "no such record");
    }
    if (!missing.empty()) EndNo("", "");
  }
  Texts chosen;
  for (const std::string& id : options.ids) {
    const bool isTaken =
        std::find(missing.begin(), missing.end(), id) != missing.end() ||
        std::find(chosen.begin(), chosen.end(), id) != chosen.end();
    if (!isTaken) chosen.push_back(id);
  }
  return chosen;
}

// The ids of the records that meet the conditions.  One that cannot be read may
// be among them: nothing is deleted then.
Texts MatchingIds(const CContext& context, const CTableReader& table,
                  const Texts& texts) {
  const auto conditions = ParseAssignments(table, texts);
  Texts matching;
  for (const std::string& id : table.Ids()) {
    std::string reason;
    const auto record = table.Read(id, reason);
    if (!reason.empty()) context.report.Trouble(Where(table, id), reason);
    if (record && Meets(*record, conditions)) matching.push_back(id);
  }
  if (context.report.verdict() == Verdict::kTrouble) {
    EndTrouble(table.name(), "nothing is deleted");
  }
  if (matching.empty()) EndNo(table.name(), "no such record");
  return matching;
}

}  // namespace

void Delete(const CContext& context, const CDeleteOptions& options) {
  if (options.ids.empty() == options.conditions.empty()) {
    EndTrouble("", "delete needs either ids or conditions behind --where");
  }
  const CStore store(context.globals.root);
  CChange change(context, store, options.table);
  const CTableReader& table = change.reader();
  const Texts ids = options.ids.empty()
                        ? MatchingIds(context, table, options.conditions)
                        : ChosenIds(context, change, options);
  if (options.isDryRun) {
    CDifferences differences(context);
    ForetellRemoval(context, table, ids, differences);
    differences.End();
    return;
  }
  CRemoved removed(store.root());
  for (const std::string& id : ids) {
    // Or a repair would take them for the record.
    MoveLeftovers(table, id, removed);
    change.Delete(id);
  }
  context.out.Write(std::to_string(ids.size()) + "\n");
}

}  // namespace tool
