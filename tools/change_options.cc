// Defining and parsing them.

#include "change_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <utility>

#include "report.h"

namespace tool {
namespace {

template <typename Options>
Options Parse(const Texts& words) {
  CLI::App app;
  app.set_help_flag();
  app.allow_extras();
  Options options;
  Define(app, options);
  try {
    app.parse(Texts(words.rbegin(), words.rend() - 1));  // the last one first
  } catch (const CLI::ParseError& error) {
    EndUsage("", error.what());
  }
  const Texts unexpected = Unexpected(app);
  if (unexpected.empty()) return options;
  EndUsage("", "not expected in a batch: " + unexpected.front());
}

}  // namespace

void Define(CLI::App& app, CAddOptions& options) {
  app.add_option("TABLE", options.table, "the table")->required();
  app.add_option("COLUMN=VALUE", options.values,
                 "values; the others are empty");
  app.add_option_function<std::string>(
      "--id", [&options](const std::string& text) { options.id = text; },
      "its id, one above the highest unless given");
  app.add_option("--max", options.max, "the highest id that may be given");
  app.add_flag("--replace", options.replaces, "replace a record that is there");
}

void Define(CLI::App& app, CSetOptions& options) {
  app.add_option("TABLE", options.table, "the table")->required();
  app.add_option("ID", options.id, "the record")->required();
  app.add_option("COLUMN=VALUE", options.values, "values")->required();
}

void Define(CLI::App& app, CDeleteOptions& options) {
  app.add_option("TABLE", options.table, "the table")->required();
  app.add_option("ID", options.ids, "records");
  app.add_option("--where", options.conditions, "those that meet COLUMN=VALUE");
  app.add_flag("--force", options.isForced, "also when some are not there");
}

Texts Unexpected(const CLI::App& app) {
  Texts texts = app.remaining(true);
  const auto mark = std::find(texts.begin(), texts.end(), "--");
  if (mark != texts.end()) texts.erase(mark);
  return texts;
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
