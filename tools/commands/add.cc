// add: a new record.

#include <algorithm>
#include <utility>

#include "arguments.h"
#include "commands.h"
#include "plan.h"

namespace tool {
namespace {

bool HasValues(const CDraft& draft, const std::string& id,
               const std::vector<std::string>& values) {
  std::string reason;
  const auto old = draft.Read(id, reason);
  return old &&
         std::equal(values.begin(), values.end(), old->values.begin() + 1);
}

// Gives whether the record is there already.
bool CheckId(const CDraft& draft, const std::string& id, bool replaces) {
  const std::string where = Where(draft.table(), id);
  if (!IsCanonicalId(id)) EndUsage(where, "no id of a new record");
  draft.change().RefuseInterrupted(id);
  const bool isThere = draft.Has(id);
  if (isThere && !replaces) EndNo(where, "is there already; see --replace");
  return isThere;
}

}  // namespace

CPlan Plan(const CContext& /*context*/, CDraft& draft,
           const CAddOptions& options) {
  const CTableReader& table = draft.table();
  RequireColumns(table);
  std::vector<std::string> values(table.schema().columns.size() - 1);
  for (const auto& [column, value] : ParseValues(table, options.values)) {
    values[column - 1] = value;
  }
  const bool isThere =
      options.id && CheckId(draft, *options.id, options.replaces);
  const std::string id = options.id ? *options.id : draft.NextId(options.max);
  CPlan plan;
  plan.result = id + "\n";
  // What is there already is not written again.
  if (isThere && HasValues(draft, id, values)) return plan;
  plan.write = CRecordWrite{id, std::move(values), {}, !isThere};
  return plan;
}

void Add(const CContext& context, const CAddOptions& options) {
  RunAlone(context, options.table, options, false);
}

}  // namespace tool
