// What clear and drop-table have in common.

#include "emptying.h"

#include "arguments.h"
#include "ask.h"

namespace tool {

void ForetellRemoval(const CContext& context, const CTableReader& table,
                     const Texts& ids, CDifferences& differences) {
  for (const std::string& id : ids) {
    std::string reason;
    const auto record = table.Read(id, reason);
    if (record) differences.Removed(table.name(), table.schema(), *record);
    if (!reason.empty()) context.report.Note(Where(table, id), reason);
  }
}

void ForetellEmptying(const CContext& context, const CTableReader& table,
                      bool isDropped) {
  CDifferences differences(context);
  if (table.IsThere()) {
    ForetellRemoval(context, table, table.Ids(), differences);
  }
  if (isDropped) differences.Shape('-', table.name(), "", "", "");
  differences.End();
}

bool RequireEmptying(const CContext& context, const CTableReader& table,
                     const CDropOptions& options, bool isAlwaysAsked) {
  const std::size_t count = table.IsThere() ? table.Ids().size() : 0;
  if (count == 0 && !isAlwaysAsked && !options.isForced) return false;
  RequireConsent(context, options.isForced, table.name(),
                 "Delete all " + std::to_string(count) + " records of " +
                     table.name() + "?");
  return true;
}

}  // namespace tool
