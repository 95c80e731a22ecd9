// add-table: a new table.

#include <kivdb/database.h>
#include <kivdb/status.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "change.h"
#include "commands.h"
#include "disk.h"
#include "store.h"

namespace tool {
namespace {

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// "NAME:TYPE" or "NAME(TYPE)"; blanks do not count, as in the library.
CField ParseColumn(std::string spec) {
  spec.erase(std::remove_if(spec.begin(), spec.end(), IsBlank), spec.end());
  const std::size_t at = spec.find_first_of(":(");
  if (at == spec.npos) EndTrouble("", "no column NAME:TYPE: " + spec);
  CField field{spec.substr(0, at), spec.substr(at + 1)};
  if (spec[at] == '(') {
    if (field.type.empty() || field.type.back() != ')') {
      EndTrouble("", "no column NAME(TYPE): " + spec);
    }
    field.type.pop_back();
  }
  if (field.type != "int" && field.type != "bigint" &&
      field.type != "varchar") {
    EndTrouble("",
               "no type: " + field.type + ", there are int, bigint, varchar");
  }
  if (field.name.empty() ||
      field.name.find_first_of("[]|=") != std::string::npos) {
    EndTrouble("", "no name of a column: " + spec);
  }
  return field;
}

// The schema line.
std::string ParseColumns(const std::string& text) {
  CSchema schema;
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(',', at), text.size());
    CField field = ParseColumn(text.substr(at, end - at));
    if (schema.Find(field.name)) EndTrouble("", "column twice: " + field.name);
    schema.line +=
        (schema.line.empty() ? "" : "|") + field.name + "[" + field.type + "]";
    schema.columns.push_back(std::move(field));
    at = end + 1;
  }
  if (schema.columns.front().name != "id") {
    EndTrouble("", "the first column must be id");
  }
  if (schema.columns.size() < 2) {
    EndTrouble("", "a table has two columns or more");
  }
  return schema.line;
}

// Those of a directory without a schema would be records of the new table.
void RequireNoRecords(const CStore& store, const std::string& name) {
  const std::string path = store.PathOf(name);
  if (rmdir(path.c_str()) == 0 || errno == ENOENT) return;
  EndNo(name, WithError("its directory is there already", errno));
}

void Make(const CStore& store, const std::string& name,
          const std::string& line) {
  KivDB::CKivDatabase database;
  database.open(store.root().c_str());  // sets the root, whatever is there
  int status = database.createSchemaF(name.c_str(), line.c_str());
  if (status == KivDB::kOk) status = database.createTableF(name.c_str());
  if (status != KivDB::kOk) EndTrouble(name, ReasonOf(status));
  SyncFile(store.SchemaPathOf(name));
  SyncDirectory(store.PathOf(name));
  SyncDirectory(store.PathOf("."));
  SyncDirectory(store.SchemaPathOf("."));
  // On a full disk the line is cut without notice.
  if (store.Schema(name).line != line) EndTrouble(name, "the schema was cut");
}

}  // namespace

void AddTable(const CContext& context, const CAddTableOptions& options) {
  const std::string& name = options.table;
  const std::string line = ParseColumns(options.columns);
  const CStore store(context.globals.root);
  if (name.empty() || name == "." || name == ".." ||
      name.find('/') != name.npos) {
    EndTrouble(name, "no name of a table");
  }
  BecomeOwner(store.root());
  SetWait(context.globals);
  const KivDB::CSchemaLock lock(store.root().c_str());
  RequireHeld(lock, name);
  const Texts tables = store.Tables();
  if (std::find(tables.begin(), tables.end(), name) != tables.end()) {
    EndNo(name, "is there already");
  }
  RequireNoRecords(store, name);
  const CSignalHold hold;
  try {
    Make(store, name, line);
  } catch (const CEnd&) {
    // What is cut would be a table that the host cannot use.
    unlink(store.SchemaPathOf(name).c_str());
    rmdir(store.PathOf(name).c_str());
    throw;
  }
}

}  // namespace tool
