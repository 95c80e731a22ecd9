// set: other values for a record.

#include <algorithm>

#include "arguments.h"
#include "change.h"
#include "commands.h"

namespace tool {

void Set(const CContext& context, const CSetOptions& options) {
  const CStore store(context.globals.root);
  CChange change(context, store, options.table);
  const CTableReader& table = change.reader();
  const std::string where = Where(table, options.id);
  auto values = ParseValues(table, options.values);
  RequireId(table, options.id);
  change.RefuseInterrupted(options.id);
  std::string reason;
  const auto record = table.Read(options.id, reason);
  if (!reason.empty()) EndTrouble(where, reason);
  if (!record) EndNo(where, "no such record");
  // What is there already is not written again.
  const auto isThere = [&](const CAssignment& assignment) {
    return record->values[assignment.column] == assignment.value;
  };
  values.erase(std::remove_if(values.begin(), values.end(), isThere),
               values.end());
  if (!values.empty()) change.Update(options.id, values);
}

}  // namespace tool
