// add: a new record.

#include <algorithm>

#include "arguments.h"
#include "change.h"
#include "commands.h"

namespace tool {
namespace {

// Unless the record that is there has these values already.
void Replace(CChange& change, const std::string& id,
             const std::vector<std::string>& values) {
  std::string reason;
  const auto old = change.reader().Read(id, reason);
  const bool isSame =
      old && std::equal(values.begin(), values.end(), old->values.begin() + 1);
  if (!isSame) change.Save(id, values);
}

}  // namespace

void Add(const CContext& context, const CAddOptions& options) {
  const CStore store(context.globals.root);
  CChange change(context, store, options.table);
  const CTableReader& table = change.reader();
  std::vector<std::string> values(table.schema().columns.size() - 1);
  for (const auto& [column, value] : ParseValues(table, options.values)) {
    values[column - 1] = value;
  }
  if (!options.id) {
    context.out.Write(change.Add(values, options.max) + "\n");
    return;
  }
  if (!IsCanonicalId(*options.id)) {
    EndTrouble(Where(table, *options.id), "no id of a new record");
  }
  change.RefuseInterrupted(*options.id);
  if (!table.Has(*options.id)) {
    change.Save(*options.id, values);
  } else if (options.replaces) {
    Replace(change, *options.id, values);
  } else {
    EndNo(Where(table, *options.id), "is there already; see --replace");
  }
  context.out.Write(*options.id + "\n");
}

}  // namespace tool
