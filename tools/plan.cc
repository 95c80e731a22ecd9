// Doing what was checked.

#include "plan.h"

#include "check/leftovers.h"
#include "difference.h"

namespace tool {

CPlan PlanInto(const CContext& context, CDraft& draft,
               const CChangeOptions& options) {
  CPlan plan = std::visit(
      [&](const auto& command) { return Plan(context, draft, command); },
      options);
  if (plan.write) draft.Put(*plan.write);
  for (const std::string& id : plan.deleted) draft.Erase(id);
  return plan;
}

void CarryOut(const CPlan& plan, CChange& change, CRemoved& removed) {
  if (plan.write) change.Write(*plan.write);
  for (const std::string& id : plan.deleted) {
    // Or a repair would take them for the record.
    MoveLeftovers(change.reader(), id, removed);
    change.Delete(id);
  }
}

void RunAlone(const CContext& context, const std::string& table,
              const CChangeOptions& options, bool isDryRun) {
  const CStore store(context.globals.root);
  CChange change(context, store, table);
  CDraft draft(change);
  const CPlan plan = PlanInto(context, draft, options);
  if (isDryRun) {
    CDifferences differences(context);
    draft.Foretell(context, differences);
    differences.End();
    return;
  }
  CRemoved removed(store.root());
  CarryOut(plan, change, removed);
  context.out.Write(plan.result);
}

}  // namespace tool
