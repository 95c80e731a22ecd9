// The commands, each in commands/ under its name.  A command throws CEnd when
// it cannot go on; what it says otherwise raises the verdict of the report.

#ifndef TOOLS_COMMANDS_H_
#define TOOLS_COMMANDS_H_

#include <optional>
#include <string>
#include <vector>

#include "context.h"

namespace tool {

using Texts = std::vector<std::string>;

struct CTablesOptions {};
void Tables(const CContext& context, const CTablesOptions& options);

struct CSchemaOptions {
  Texts tables;
};
void Schema(const CContext& context, const CSchemaOptions& options);

struct CListOptions {
  std::string table;
  Texts conditions;
  Texts columns;
  std::optional<std::size_t> limit;
  bool onlyCounts = false;
  bool isUnsorted = false;
};
void List(const CContext& context, const CListOptions& options);

struct CGetOptions {
  std::string table;
  std::string id;
  std::optional<std::string> column;
  std::optional<std::string> fallback;
};
void Get(const CContext& context, const CGetOptions& options);

struct CAddOptions {
  std::string table;
  Texts values;
  std::optional<std::string> id;
  unsigned int max = 0;
  bool replaces = false;
};
void Add(const CContext& context, const CAddOptions& options);

struct CSetOptions {
  std::string table;
  std::string id;
  Texts values;
};
void Set(const CContext& context, const CSetOptions& options);

struct CDeleteOptions {
  std::string table;
  Texts ids;
  Texts conditions;
  bool isForced = false;
  bool isDryRun = false;
};
void Delete(const CContext& context, const CDeleteOptions& options);

struct CEditOptions {
  std::string table;
  std::string id;
};
void Edit(const CContext& context, const CEditOptions& options);

struct CImportOptions {
  std::string table;
  std::string file;    // empty or "-": standard input
  std::string format;  // csv, json, jsonl, or empty: by the extension
  bool replaces = false;
  bool updates = false;
  bool isDryRun = false;
};
void Import(const CContext& context, const CImportOptions& options);

struct CBatchOptions {
  std::string file;  // empty or "-": standard input
  bool isDryRun = false;
};
void Batch(const CContext& context, const CBatchOptions& options);

struct CCreateOptions {
  std::string file;
  std::optional<int> id;
  std::string host;
  bool isDryRun = false;
};
void Create(const CContext& context, const CCreateOptions& options);

struct CDumpOptions {
  Texts tables;
  Texts redacted;  // TABLE.COLUMN
};
void Dump(const CContext& context, const CDumpOptions& options);

struct CAddTableOptions {
  std::string table;
  std::string columns;
};
void AddTable(const CContext& context, const CAddTableOptions& options);

struct CDropOptions {
  std::string table;
  bool isForced = false;
  bool isDryRun = false;
};
void DropTable(const CContext& context, const CDropOptions& options);
void Clear(const CContext& context, const CDropOptions& options);

struct CMigrateOptions {
  std::string table;
  std::string columns;
  bool isForced = false;
  bool isDryRun = false;
};
void Migrate(const CContext& context, const CMigrateOptions& options);

struct CUpgradeOptions {
  std::string file;
  std::string base;
  std::optional<int> id;
  std::string host;
  bool prunes = false;
  bool isDryRun = false;
};
void Upgrade(const CContext& context, const CUpgradeOptions& options);

struct CCheckOptions {
  Texts tables;
  bool repairs = false;
  bool restores = false;
  bool discards = false;
  bool isDryRun = false;
};
void Check(const CContext& context, const CCheckOptions& options);

struct CCopyOptions {
  std::string file;  // "-": a standard stream
};
void Backup(const CContext& context, const CCopyOptions& options);
void Restore(const CContext& context, const CCopyOptions& options);

struct CDiffOptions {
  std::string other;
};
void Diff(const CContext& context, const CDiffOptions& options);

struct CWatchOptions {
  Texts tables;
  Texts command;
};
void Watch(const CContext& context, const CWatchOptions& options);

}  // namespace tool

#endif  // TOOLS_COMMANDS_H_
