// get: one record, or one value of it.

#include "arguments.h"
#include "commands.h"
#include "formats/format.h"
#include "printable.h"
#include "store.h"

namespace tool {
namespace {

// The bare value; JSON by the rules of the column.
void PrintValue(const CContext& context, const CField& field,
                const std::string& value) {
  const std::string& format = context.globals.format;
  const bool isJson = format == "json" || format == "jsonl";
  const bool isShown = context.out.IsTerminal();
  context.out.Write((isJson    ? JsonValue(field, value)
                     : isShown ? Printable(value)
                               : value) +
                    "\n");
}

}  // namespace

void Get(const CContext& context, const CGetOptions& options) {
  if (options.fallback && !options.column) {
    EndTrouble("", "--default needs a column");
  }
  const CStore store(context.globals.root);
  const CTableReader table(store, options.table);
  table.Require();
  RequireId(table, options.id, table.Has(options.id));
  const std::size_t column =
      options.column ? ColumnOf(table, *options.column) : 0;
  std::string reason;
  const auto record = table.Read(options.id, reason);
  if (!reason.empty()) EndTrouble(Where(table, options.id), reason);
  if (!record && !options.fallback) {
    EndNo(Where(table, options.id), "no such record");
  }
  if (!options.column) {
    CRow row{{}, record->id, record->line};
    row.cells.assign(record->values.begin(), record->values.end());
    MakeFormat(context, table.schema().columns)->Only(row);
    return;
  }
  const std::string value = record ? record->values[column] : "";
  PrintValue(context, table.schema().columns[column],
             value.empty() ? options.fallback.value_or("") : value);
}

}  // namespace tool
