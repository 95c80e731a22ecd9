// upgrade: what a new release ships, merged into what the owner has.

#include <kivdb/status.h>
#include <kivdb/upgrade.h>

#include "change.h"
#include "commands.h"
#include "creation.h"
#include "difference.h"
#include "disk.h"
#include "store.h"

namespace tool {
namespace {

using KivDB::CUpgradeStep;

// For messages with lines: the library reads the file itself.
void RequireCreationFile(const std::string& path) {
  const CCreationFile file = ReadCreationFile(path);
  file.Tables(file.Placeholders());
}

CField FieldOf(const CUpgradeStep& step) { return {step.column}; }

CSchema SchemaOf(const CUpgradeStep& step) {
  CSchema schema;
  schema.columns.push_back({"id"});
  for (const std::string& column : step.columns) {
    schema.columns.push_back({column});
  }
  return schema;
}

CRecord RecordOf(const CUpgradeStep& step) {
  CRecord record{step.id, {}, {step.id}};
  record.values.insert(record.values.end(), step.values.begin(),
                       step.values.end());
  return record;
}

void Print(const CContext& context, const CUpgradeStep& step,
           CDifferences& differences) {
  const std::string where = step.table + "/" + step.id;
  switch (step.kind) {
    case CUpgradeStep::kTableAdded:
      return differences.Shape('+', step.table, "", "", "");
    case CUpgradeStep::kColumnAdded:
      return differences.Shape('+', step.table, step.column, "", step.now);
    case CUpgradeStep::kRecordAdded:
      return differences.Added(step.table, SchemaOf(step), RecordOf(step));
    case CUpgradeStep::kRecordDeleted:
      return differences.Removed(step.table, SchemaOf(step), RecordOf(step));
    case CUpgradeStep::kValueChanged:
      return differences.Changed(step.table, step.id, FieldOf(step), step.here,
                                 step.now);
    case CUpgradeStep::kValueKept:
      differences.Kept(step.table, step.id, FieldOf(step), step.shipped,
                       step.now, step.here);
      return context.report.Raise(Verdict::kNo);
    case CUpgradeStep::kRecordKept:
      return context.report.No(where, "shipped no more, but changed here");
    case CUpgradeStep::kIdTaken:
      return context.report.No(where, "this id is a record of the owner's");
    case CUpgradeStep::kUnreadable:
      return context.report.Trouble(where, "cannot be read: run check");
    case CUpgradeStep::kInterrupted:
      return context.report.No(where,
                               "a temporary file of it is there: run check");
  }
}

int Run(const CContext& context, const CUpgradeOptions& options,
        std::vector<CUpgradeStep>& steps) {
  const CSignalHold hold;
  KivDB::CUpgradeOptions wanted;
  wanted.base = options.base.empty() ? nullptr : options.base.c_str();
  if (options.id) wanted.id = *options.id != 0 ? *options.id : 1;
  wanted.host = options.host.c_str();
  wanted.prunes = options.prunes;
  wanted.isDryRun = options.isDryRun;
  return KivDB::Upgrade(context.globals.root.c_str(), options.file.c_str(),
                        wanted, steps);
}

}  // namespace

void Upgrade(const CContext& context, const CUpgradeOptions& options) {
  const CStore store(context.globals.root);
  RequireCreationFile(options.file);
  if (!options.base.empty()) RequireCreationFile(options.base);
  const auto fault = FaultOfHost(options.host);
  if (fault) EndTrouble("--host", *fault);
  if (!options.isDryRun) {
    BecomeOwner(store.root());
    SetWait(context.globals);
  }
  std::vector<CUpgradeStep> steps;
  const int status = Run(context, options, steps);
  const std::string reason = status != KivDB::kOk ? ReasonOf(status) : "";
  CDifferences differences(context, true);
  for (const CUpgradeStep& step : steps) Print(context, step, differences);
  differences.End();
  if (status != KivDB::kOk) EndTrouble("", reason);
}

}  // namespace tool
