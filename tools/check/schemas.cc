// Schema files and missing table directories.

#include "check/schemas.h"

#include <kivdb/lock.h>
#include <kivdb/status.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <optional>

#include "change.h"
#include "check/table_state.h"

namespace tool {
namespace {

std::string UnusableText(const CTableState& table) {
  if (table.schemaError == EINVAL) return "the schema is no regular file";
  if (table.schemaError == ENOENT) return "the schema is a link to nowhere";
  if (table.schemaError != 0) {
    return WithError("the schema cannot be read", table.schemaError);
  }
  return table.schema.line.empty() ? "the schema is empty"
                                   : "the schema has no usable first column";
}

std::string DamagedText(const CTableState& table) {
  const std::string twice = table.ColumnTwice();
  if (!twice.empty()) return "the schema has the column " + twice + " twice";
  return "the schema is columns only up to " + table.schema.columns.back().name;
}

std::string DoubtfulText(const CTableState& table) {
  const auto& columns = table.schema.columns;
  if (columns.size() < 2) return "the schema has one column";
  return "the first column is " + columns.front().name + ", not id";
}

std::optional<CFinding> FindSchema(const CTableState& table) {
  const auto& columns = table.schema.columns;
  if (!table.hasSchema) {
    return CFinding{Severity::kWarning, "no-schema", table.name, "",
                    "a directory without a schema"};
  }
  if (table.isLeftover) {
    return CFinding{Severity::kWarning, "schema-leftover", table.name, "",
                    "left by an editor or package manager"};
  }
  if (table.IsUnusable()) {
    return CFinding{Severity::kError, "schema-unusable", table.name, "",
                    UnusableText(table)};
  }
  if (table.HasSchemaError()) {
    return CFinding{Severity::kError, "schema-damaged", table.name, "",
                    DamagedText(table)};
  }
  if (columns.size() < 2 || columns.front().name != "id") {
    return CFinding{Severity::kWarning, "schema-doubtful", table.name, "",
                    DoubtfulText(table)};
  }
  return std::nullopt;
}

std::optional<CFinding> FindDirectory(const CTableState& table) {
  const bool isMissing = !table.hasDirectory ||
                         table.directoryError == ENOENT ||
                         table.directoryError == ENOTDIR;
  // Without a usable schema there is no table to miss it.
  if (!isMissing || table.IsUnusable() || table.isLeftover) return std::nullopt;
  return CFinding{Severity::kError, "no-directory", table.name, "",
                  table.hasDirectory ? "the table directory is no directory"
                                     : "the table directory is missing"};
}

// Whether the schema goes, unless an entry depends on it.
bool IsUseless(const CTableState& table) {
  return table.hasSchema && (table.isLeftover || table.IsUnusable());
}

bool IsNothingFound(const CTableState& table) {
  return !FindSchema(table) && !FindDirectory(table);
}

void Report(CCheckRun& run, const CTableState& table) {
  if (auto finding = FindSchema(table)) {
    const std::string obstacle = table.SchemaObstacle();
    if (IsUseless(table) && !obstacle.empty()) {
      finding->repair = "none: " + obstacle;
    } else if (IsUseless(table)) {
      run.repair.MoveTable(*finding, table.hasDirectory);
    }
    run.Add(*finding);
  }
  if (auto finding = FindDirectory(table)) {
    const std::string obstacle = table.Obstacle();
    if (!obstacle.empty()) {
      finding->repair = "none: " + obstacle;
    } else if (!table.hasDirectory) {
      run.repair.MakeDirectory(*finding);
    }
    run.Add(*finding);
  }
}

// Under the locks, in their order, and by what is there then.
void Repair(CCheckRun& run, const std::string& table) {
  const std::string& root = run.store.root();
  const KivDB::CSchemaLock schemas(root.c_str());
  RequireHeld(schemas, table);
  std::optional<KivDB::CTableLock> entries;
  if (LookAt(run.store, table).directory.isOpen()) {
    entries.emplace(root.c_str(), table.c_str());
    RequireHeld(*entries, table);
  }
  const CTableState state = LookAt(run.store, table);
  if (state.hasSchema || state.hasDirectory) Report(run, state);
}

}  // namespace

void CheckSchema(CCheckRun& run, const std::string& table) {
  const CTableState state = LookAt(run.store, table);
  const bool isGone = !state.hasSchema && !state.hasDirectory;
  if (isGone || IsNothingFound(state)) return;
  if (run.repair.IsActive()) {
    Repair(run, table);
  } else {
    Report(run, state);
  }
}

}  // namespace tool
