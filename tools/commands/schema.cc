// schema: the columns of tables.

#include "commands.h"
#include "formats/format.h"
#include "store.h"

namespace tool {
namespace {

// A row a column, but one a table for the formats that print the line or the
// name of the table.
void AddRows(const CContext& context, const std::string& table,
             const CSchema& schema, bool isOnly, CFormat& format) {
  const std::string& name = context.globals.format;
  if (name == "raw" || name == "ids") {
    const CRow row{{}, table, schema.line};
    isOnly&& name == "raw" ? format.Only(row) : format.Add(row);
    return;
  }
  for (const CField& field : schema.columns) {
    format.Add({{table, field.name, field.type}, table, ""});
  }
}

}  // namespace

void Schema(const CContext& context, const CSchemaOptions& options) {
  const CStore store(context.globals.root);
  const Texts tables = options.tables.empty() ? store.Tables() : options.tables;
  const auto format = MakeFormat(context, {{"table"}, {"column"}, {"type"}});
  for (const std::string& table : tables) {
    try {
      AddRows(context, table, store.Schema(table), options.tables.size() == 1,
              *format);
    } catch (const CEnd& end) {
      context.report.Say(end);
    }
  }
  format->End();
}

}  // namespace tool
