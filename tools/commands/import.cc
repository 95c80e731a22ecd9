// import: the records of a CSV or JSON file.

#include "arguments.h"
#include "change.h"
#include "commands.h"
#include "difference.h"
#include "draft.h"
#include "import/csv.h"
#include "import/json.h"
#include "import/plan.h"
#include "import/rows.h"
#include "input.h"
#include "progress.h"

namespace tool {
namespace {

ImportMode ModeOf(const CImportOptions& options) {
  if (options.replaces && options.updates) {
    EndTrouble("", "--replace and --update exclude each other");
  }
  if (options.replaces) return ImportMode::kReplace;
  return options.updates ? ImportMode::kUpdate : ImportMode::kAdd;
}

// As it is given, by the extension, or CSV of standard input.
std::string FormatOf(const CImportOptions& options) {
  const std::string& file = options.file;
  if (!options.format.empty()) return options.format;
  if (file.empty() || file == "-") return "csv";
  std::string end = file.substr(file.find_last_of("./") + 1);
  const bool hasExtension =
      end.size() < file.size() && file[file.size() - end.size() - 1] == '.';
  if (hasExtension && (end == "csv" || end == "json" || end == "jsonl")) {
    return end;
  }
  EndTrouble(file, "no .csv, .json or .jsonl: name its format with --from");
}

void Parse(const std::string& format, const std::string& text,
           CInputRows& rows) {
  if (format == "csv") {
    ReadCsv(text, rows);
  } else if (format == "json") {
    ReadJson(text, rows);
  } else {
    ReadJsonLines(text, rows);
  }
}

void Foretell(const CContext& context, const CChange& change,
              const std::vector<CRecordWrite>& steps) {
  CDraft draft(change);
  for (const CRecordWrite& step : steps) draft.Put(step);
  CDifferences differences(context);
  draft.Foretell(context, differences);
  differences.End();
}

void Write(const CContext& context, CChange& change,
           const std::vector<CRecordWrite>& steps) {
  const std::string& table = change.reader().name();
  std::size_t count = 0;
  try {
    CProgress progress(context.globals);
    progress.BeginCounted(table, steps.size());
    for (const CRecordWrite& step : steps) {
      change.Write(step);
      ++count;
      progress.Step();
    }
  } catch (const CEnd& end) {
    context.report.Say(end);
    EndTrouble(table, std::to_string(count) + " of " +
                          std::to_string(steps.size()) + " records written");
  }
  context.out.Write(std::to_string(count) + "\n");
}

}  // namespace

void Import(const CContext& context, const CImportOptions& options) {
  const ImportMode mode = ModeOf(options);
  const std::string format = FormatOf(options);
  const CStore store(context.globals.root);
  const CTableReader table(store, options.table);
  table.Require();
  RequireColumns(table);
  // Before the lock: what is read may be long in coming.
  CInputRows rows(table, InputName(options.file));
  Parse(format, ReadInput(options.file), rows);
  CChange change(context, store, options.table);
  if (change.reader().schema().line != table.schema().line) {
    EndTrouble(table.name(), "its columns changed meanwhile");
  }
  const auto steps = PlanImport(change, rows, mode);
  if (options.isDryRun) {
    Foretell(context, change, steps);
  } else {
    Write(context, change, steps);
  }
}

}  // namespace tool
