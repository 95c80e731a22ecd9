// delete: records by their ids or values.

#include <algorithm>

#include "arguments.h"
#include "commands.h"
#include "plan.h"

namespace tool {
namespace {

Texts Missing(const CDraft& draft, const Texts& ids) {
  Texts missing;
  for (const std::string& id : ids) {
    const bool isThere = draft.Has(id);
    RequireId(draft.table(), id, isThere);
    if (!isThere) missing.push_back(id);
  }
  return missing;
}

// The ids that are there; without force they must be all.
Texts ChosenIds(const CContext& context, const CDraft& draft,
                const CDeleteOptions& options) {
  const Texts missing = Missing(draft, options.ids);
  if (!options.isForced) {
    for (const std::string& id : missing) {
      context.report.No(Where(draft.table(), id),
                        draft.change().IsInterrupted(id)
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
Texts MatchingIds(const CContext& context, const CDraft& draft,
                  const Texts& texts) {
  const CTableReader& table = draft.table();
  const auto conditions = ParseAssignments(table, texts);
  Texts matching;
  bool isAllRead = true;
  for (const std::string& id : draft.Ids()) {
    std::string reason;
    const auto record = draft.Read(id, reason);
    if (!reason.empty()) {
      context.report.Trouble(Where(table, id), reason);
      isAllRead = false;
    }
    if (record && Meets(*record, conditions)) matching.push_back(id);
  }
  if (!isAllRead) EndTrouble(table.name(), "nothing is deleted");
  if (matching.empty()) EndNo(table.name(), "no such record");
  return matching;
}

}  // namespace

void RequireChoice(const CDeleteOptions& options) {
  if (options.ids.empty() != options.conditions.empty()) return;
  EndUsage("", "delete needs either ids or conditions behind --where");
}

CPlan Plan(const CContext& context, CDraft& draft,
           const CDeleteOptions& options) {
  CPlan plan;
  plan.deleted = options.ids.empty()
                     ? MatchingIds(context, draft, options.conditions)
                     : ChosenIds(context, draft, options);
  plan.result = std::to_string(plan.deleted.size()) + "\n";
  return plan;
}

void Delete(const CContext& context, const CDeleteOptions& options) {
  RequireChoice(options);
  RunAlone(context, options.table, options, options.isDryRun);
}

}  // namespace tool
