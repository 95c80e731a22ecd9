// edit: a record in the user's editor.

#include <utility>

#include "arguments.h"
#include "ask.h"
#include "change.h"
#include "commands.h"
#include "edit_text.h"
#include "editor.h"

namespace tool {
namespace {

CRecord Read(const CTableReader& table, const std::string& id) {
  RequireId(table, id, table.Has(id));
  std::string reason;
  auto record = table.Read(id, reason);
  if (!reason.empty()) EndTrouble(Where(table, id), reason);
  if (!record) EndNo(Where(table, id), "no such record");
  return std::move(*record);
}

// What is edited, as a text that can be read.
std::string EditUntilRead(const CContext& context, const CTableReader& table,
                          const CRecord& record) {
  const std::string where = Where(table, record.id);
  const std::string shown = EditText(table, record);
  std::string text = RunEditor(shown);
  while (text != shown) {
    const std::string fault = ParseEdited(table, record, text).fault;
    if (fault.empty()) break;
    if (!CanAsk(context)) EndTrouble(where, fault);
    context.report.Note(where, fault);
    if (Ask("edit again? [Y/n]") == 'n') EndNo(where, "nothing is written");
    text = RunEditor(text);
  }
  return text == shown ? "" : text;
}

bool IsAsBefore(const CTableReader& table, const CTableReader& before,
                const CRecord& record) {
  std::string reason;
  const auto now = table.Read(record.id, reason);
  return now && now->line == record.line &&
         table.schema().line == before.schema().line;
}

}  // namespace

void Edit(const CContext& context, const CEditOptions& options) {
  const CStore store(context.globals.root);
  const CTableReader table(store, options.table);
  table.Require();
  const CRecord record = Read(table, options.id);
  const std::string where = Where(table, options.id);
  const std::string text = EditUntilRead(context, table, record);
  const auto changed = ParseEdited(table, record, text).changed;
  if (changed.empty()) {
    context.report.Note(where, "unchanged");
    return;
  }
  // Only now: nobody waits for a person's editor.
  CChange change(context, store, options.table);
  if (!IsAsBefore(change.reader(), table, record)) {
    EndNo(where,
          "changed or deleted meanwhile, nothing is written; the edited text "
          "is in " +
              KeepText(text));
  }
  change.Update(options.id, changed);
}

}  // namespace tool
