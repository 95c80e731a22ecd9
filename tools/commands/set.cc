// set: other values for a record.

#include <algorithm>
#include <utility>

#include "arguments.h"
#include "commands.h"
#include "plan.h"

namespace tool {

CPlan Plan(const CContext& /*context*/, CDraft& draft,
           const CSetOptions& options) {
  const CTableReader& table = draft.table();
  const std::string where = Where(table, options.id);
  auto values = ParseValues(table, options.values);
  RequireId(table, options.id, draft.Has(options.id));
  draft.change().RefuseInterrupted(options.id);
  std::string reason;
  const auto record = draft.Read(options.id, reason);
  if (!reason.empty()) EndTrouble(where, reason);
  if (!record) EndNo(where, "no such record");
  // What is there already is not written again.
  const auto isThere = [&](const CAssignment& assignment) {
    return record->values[assignment.column] == assignment.value;
  };
  values.erase(std::remove_if(values.begin(), values.end(), isThere),
               values.end());
  if (values.empty()) return {};
  draft.change().RequireUpdatable(options.id, values);
  CPlan plan;
  plan.write = CRecordWrite{options.id, {}, std::move(values)};
  return plan;
}

void Set(const CContext& context, const CSetOptions& options) {
  RunAlone(context, options.table, options, false);
}

}  // namespace tool
