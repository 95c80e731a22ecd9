// The commands with their arguments and options.

#include "command_options.h"

#include "change_options.h"
#include "commands.h"

namespace tool {
namespace {

void Table(COptions& command, std::string& table) {
  command.Option("TABLE", table, "the table").Required();
}

void DryRun(COptions& command, bool& isDryRun) {
  command.Flag("--dry-run", isDryRun, "only print what would change");
}

void AddReading(CCommandSet& commands) {
  commands.Add<CTablesOptions>("tables", "the tables with their figures",
                               "tables", Tables);
  {
    auto [command, o] = commands.Add<CSchemaOptions>(
        "schema", "the columns of tables", "schema hosts", Schema);
    command.Option("TABLE", o.tables, "some tables, all unless given");
  }
  {
    auto [command, o] = commands.Add<CListOptions>(
        "list", "the records that meet all conditions",
        "list hosts port=443 --columns id,name", List);
    Table(command, o.table);
    command.Option("COLUMN=VALUE", o.conditions, "conditions");
    command.List("--columns", o.columns, "these columns, in this order: a,b");
    command.Option("--limit", o.limit, "so many records at most");
    command.Flag("--count", o.onlyCounts, "only their number");
    command.Flag("--unsorted", o.isUnsorted,
                 "in the order of the directory, as they are read");
  }
  {
    auto [command, o] = commands.Add<CGetOptions>(
        "get", "one record, or one value", "get hosts 7 port", Get);
    Table(command, o.table);
    command.Option("ID", o.id, "the record").Required();
    command.Option("COLUMN", o.column, "only this value");
    command.Option("--default", o.fallback,
                   "stands for a missing record or an empty value");
  }
}

void AddChanging(CCommandSet& commands) {
  {
    auto [command, o] =
        commands.Add<CAddOptions>("add", "adds a record and prints its id",
                                  "add hosts name=alpha port=80", Add);
    Define(command, o);
  }
  {
    auto [command, o] = commands.Add<CSetOptions>(
        "set", "changes values of a record", "set hosts 7 port=8080", Set);
    Define(command, o);
  }
  {
    auto [command, o] = commands.Add<CDeleteOptions>(
        "delete", "deletes records and prints their number", "delete hosts 7 8",
        Delete);
    Define(command, o);
    DryRun(command, o.isDryRun);
  }
  {
    auto [command, o] = commands.Add<CEditOptions>(
        "edit", "a record in your editor", "edit hosts 7", Edit);
    Table(command, o.table);
    command.Option("ID", o.id, "the record").Required();
  }
  {
    auto [command, o] = commands.Add<CImportOptions>(
        "import", "adds records of a CSV or JSON file",
        "import hosts hosts.csv", Import);
    Table(command, o.table);
    command.Option("FILE", o.file, "standard input unless given");
    command.Option("--from", o.format, "its format, unless by its name")
        .OneOf({"csv", "json", "jsonl"});
    command.Flag("--replace", o.replaces, "replace records that are there");
    command.Flag("--update", o.updates,
                 "change the columns of the file in records that are there");
    DryRun(command, o.isDryRun);
  }
  {
    auto [command, o] = commands.Add<CBatchOptions>(
        "batch", "does lines of add, set and delete, all checked first",
        "batch changes.txt", Batch);
    command.Option("FILE", o.file, "standard input unless given");
    DryRun(command, o.isDryRun);
  }
}

void AddWatch(CCommandSet& commands) {
  auto [command, o] = commands.Add<CWatchOptions>(
      kWatch, "every change of a record, as it happens",
      "watch hosts -- systemctl reload host", Watch);
  command.Option("TABLE", o.tables, "some tables, all unless given");
  command.Footer("Behind -- stands a command, which is run for each change.");
  commands.SetProgram(o.command);
}

void AddTables(CCommandSet& commands) {
  {
    auto [command, o] = commands.Add<CAddTableOptions>(
        "add-table", "adds a table",
        "add-table hosts 'id:int,name:varchar,port:int'", AddTable);
    command.Option("NAME", o.table, "the table").Required();
    command.Option("COLUMNS", o.columns, "NAME:TYPE,... or NAME(TYPE),...")
        .Required();
  }
  {
    auto [command, o] = commands.Add<CMigrateOptions>(
        "migrate", "gives a table other columns",
        "migrate hosts 'id:int,name>title:varchar,port:int,note:varchar'",
        Migrate);
    Table(command, o.table);
    command.Option("COLUMNS", o.columns, "NAME:TYPE,... or OLD>NEW:TYPE,...")
        .Required();
    command.Flag("--force", o.isForced, "let columns go that are not named");
    DryRun(command, o.isDryRun);
  }
  for (const bool isDrop : {true, false}) {
    auto [command, o] =
        isDrop
            ? commands.Add<CDropOptions>("drop-table", "drops a table",
                                         "drop-table hosts --force", DropTable)
            : commands.Add<CDropOptions>("clear",
                                         "deletes all records of a table",
                                         "clear hosts --force", Clear);
    command.Option("NAME", o.table, "the table").Required();
    command.Flag("--force", o.isForced, "ask nothing");
    DryRun(command, o.isDryRun);
  }
}

void AddWhole(CCommandSet& commands) {
  {
    auto [command, o] = commands.Add<CCreateOptions>(
        "create", "a new database from a creation file",
        "-r /var/lib/host create host.ini", Create);
    command.Option("FILE", o.file, "- for standard input").Required();
    command.Option("--id", o.id, "stands for {{$kivid}}");
    command.Option("--host", o.host, "stands for {{$kivhost}}");
    DryRun(command, o.isDryRun);
  }
  {
    auto [command, o] = commands.Add<CUpgradeOptions>(
        "upgrade", "takes over what a new creation file changes",
        "-r /var/lib/host upgrade /usr/share/host/host.ini", Upgrade);
    command.Option("FILE", o.file, "the new creation file").Required();
    command.Option("--base", o.base,
                   "the file that the database was made from, if none is "
                   "kept");
    command.Flag("--prune", o.prunes,
                 "delete unchanged records that are shipped no more");
    command.Option("--id", o.id, "stands for {{$kivid}}");
    command.Option("--host", o.host, "stands for {{$kivhost}}");
    DryRun(command, o.isDryRun);
  }
  {
    auto [command, o] =
        commands.Add<CDumpOptions>("dump", "a creation file of what is there",
                                   "dump hosts >hosts.ini", Dump);
    command.Option("TABLE", o.tables, "some tables, all unless given");
    command.Option("--redact", o.redacted, "write *** for TABLE.COLUMN")
        .OneEach();
  }
  {
    auto [command, o] = commands.Add<CCheckOptions>(
        "check", "finds and repairs what is damaged", "check --repair", Check);
    command.Option("TABLE", o.tables, "some tables, all unless given");
    COption repair = command.Flag("--repair", o.repairs, "repair what can be");
    COption restore =
        command.Flag("--restore", o.restores,
                     "an interrupted save: take the record that it wrote");
    command
        .Flag("--discard", o.discards,
              "an interrupted save: move that record away")
        .Needs(repair)
        .Excludes(restore);
    restore.Needs(repair);
    DryRun(command, o.isDryRun);
  }
  {
    auto [command, o] =
        commands.Add<CDiffOptions>("diff", "what differs from another database",
                                   "diff /var/lib/other", Diff);
    command.Option("OTHER", o.other, "a root or a creation file").Required();
  }
}

void AddCopies(CCommandSet& commands) {
  {
    auto [command, o] = commands.Add<CCopyOptions>(
        "backup", "a tar archive of all tables, beside a running host",
        "backup /var/backups/host.tar", Backup);
    command.Option("FILE", o.file, "- for standard output").Required();
  }
  {
    auto [command, o] = commands.Add<CCopyOptions>(
        "restore", "a new database from such an archive",
        "-r /var/lib/host restore /var/backups/host.tar", Restore);
    command.Option("FILE", o.file, "- for standard input").Required();
  }
}

}  // namespace

void AddCommands(CCommandSet& commands) {
  AddReading(commands);
  AddChanging(commands);
  AddTables(commands);
  AddWhole(commands);
  AddCopies(commands);
  AddWatch(commands);
}

}  // namespace tool
