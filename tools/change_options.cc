// Defining and parsing them.

#include "change_options.h"

#include "report.h"

namespace tool {
namespace {

template <typename Options>
Options Parse(const Texts& line) {
  COptions command;
  Options options;
  Define(command, options);
  command.Parse({line.begin() + 1, line.end()});
  const Texts unexpected = command.Unexpected();
  if (unexpected.empty()) return options;
  EndUsage("", "not expected in a batch: " + unexpected.front());
}

}  // namespace

void Define(COptions& command, CAddOptions& options) {
  command.Option("TABLE", options.table, "the table").Required();
  command.Option("COLUMN=VALUE", options.values,
                 "values; the others are empty");
  command.Option("--id", options.id,
                 "its id, one above the highest unless given");
  command.Option("--max", options.max, "the highest id that may be given");
  command.Flag("--replace", options.replaces, "replace a record that is there");
}

void Define(COptions& command, CSetOptions& options) {
  command.Option("TABLE", options.table, "the table").Required();
  command.Option("ID", options.id, "the record").Required();
  command.Option("COLUMN=VALUE", options.values, "values").Required();
}

void Define(COptions& command, CDeleteOptions& options) {
  command.Option("TABLE", options.table, "the table").Required();
  command.Option("ID", options.ids, "records");
  command.Option("--where", options.conditions, "those that meet COLUMN=VALUE");
  command.Flag("--force", options.isForced, "also when some are not there");
}

CChangeOptions ParseChange(const Texts& words) {
  const std::string& name = words.front();
  if (name == "add") return Parse<CAddOptions>(words);
  if (name == "set") return Parse<CSetOptions>(words);
  if (name != "delete") EndUsage("", "no add, set or delete: " + name);
  auto options = Parse<CDeleteOptions>(words);
  RequireChoice(options);
  return options;
}

}  // namespace tool
