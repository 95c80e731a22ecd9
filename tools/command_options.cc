// The commands with their words and options.

#include "command_options.h"

#include <CLI/CLI.hpp>

#include "change_options.h"
#include "commands.h"

namespace tool {
namespace {

Texts Split(const std::string& text) { return CLI::detail::split(text, ','); }

void Table(CLI::App& app, std::string& table) {
  app.add_option("TABLE", table, "the table")->required();
}

void DryRun(CLI::App& app, bool& isDryRun) {
  app.add_flag("--dry-run", isDryRun, "only print what would change");
}

void AddReading(CCommandSet& commands) {
  commands.Add<CTablesOptions>("tables", "the tables with their figures",
                               "tables", Tables);
  {
    auto [app, o] = commands.Add<CSchemaOptions>(
        "schema", "the columns of tables", "schema hosts", Schema);
    app->add_option("TABLE", o.tables, "some tables, all unless given");
  }
  {
    auto [app, o] = commands.Add<CListOptions>(
        "list", "the records that meet all conditions",
        "list hosts port=443 --columns id,name", List);
    Table(*app, o.table);
    app->add_option("COLUMN=VALUE", o.conditions, "conditions");
    app->add_option_function<std::string>(
        "--columns",
        [&o = o](const std::string& text) { o.columns = Split(text); },
        "these columns, in this order: a,b");
    app->add_option("--limit", o.limit, "so many records at most");
    app->add_flag("--count", o.onlyCounts, "only their number");
    app->add_flag("--unsorted", o.isUnsorted,
                  "in the order of the directory, as they are read");
  }
  {
    auto [app, o] = commands.Add<CGetOptions>("get", "one record, or one value",
                                              "get hosts 7 port", Get);
    Table(*app, o.table);
    app->add_option("ID", o.id, "the record")->required();
    app->add_option_function<std::string>(
        "COLUMN", [&o = o](const std::string& text) { o.column = text; },
        "only this value");
    app->add_option_function<std::string>(
        "--default", [&o = o](const std::string& text) { o.fallback = text; },
        "stands for a missing record or an empty value");
  }
}

void AddChanging(CCommandSet& commands) {
  {
    auto [app, o] =
        commands.Add<CAddOptions>("add", "adds a record and prints its id",
                                  "add hosts name=alpha port=80", Add);
    Define(*app, o);
  }
  {
    auto [app, o] = commands.Add<CSetOptions>(
        "set", "changes values of a record", "set hosts 7 port=8080", Set);
    Define(*app, o);
  }
  {
    auto [app, o] = commands.Add<CDeleteOptions>(
        "delete", "deletes records and prints their number", "delete hosts 7 8",
        Delete);
    Define(*app, o);
    DryRun(*app, o.isDryRun);
  }
  {
    auto [app, o] = commands.Add<CEditOptions>(
        "edit", "a record in your editor", "edit hosts 7", Edit);
    Table(*app, o.table);
    app->add_option("ID", o.id, "the record")->required();
  }
  {
    auto [app, o] = commands.Add<CImportOptions>(
        "import", "adds records of a CSV or JSON file",
        "import hosts hosts.csv", Import);
    Table(*app, o.table);
    app->add_option("FILE", o.file, "standard input unless given");
    app->add_option("--from", o.format, "its format, unless by its name")
        ->check(CLI::IsMember({"csv", "json", "jsonl"}));
    app->add_flag("--replace", o.replaces, "replace records that are there");
    app->add_flag("--update", o.updates,
                  "change the columns of the file in records that are there");
    DryRun(*app, o.isDryRun);
  }
  {
    auto [app, o] = commands.Add<CBatchOptions>(
        "batch", "does lines of add, set and delete, all checked first",
        "batch changes.txt", Batch);
    app->add_option("FILE", o.file, "standard input unless given");
    DryRun(*app, o.isDryRun);
  }
}

void AddWatch(CCommandSet& commands) {
  auto [app, o] = commands.Add<CWatchOptions>(
      kWatch, "every change of a record, as it happens",
      "watch hosts -- systemctl reload host", Watch);
  app->add_option("TABLE", o.tables, "some tables, all unless given");
  app->footer("Behind -- stands a command, which is run for each change.");
  commands.SetProgram(o.command);
}

void AddTables(CCommandSet& commands) {
  {
    auto [app, o] = commands.Add<CAddTableOptions>(
        "add-table", "adds a table",
        "add-table hosts 'id:int,name:varchar,port:int'", AddTable);
    app->add_option("NAME", o.table, "the table")->required();
    app->add_option("COLUMNS", o.columns, "NAME:TYPE,... or NAME(TYPE),...")
        ->required();
  }
  {
    auto [app, o] = commands.Add<CMigrateOptions>(
        "migrate", "gives a table other columns",
        "migrate hosts 'id:int,name>title:varchar,port:int,note:varchar'",
        Migrate);
    Table(*app, o.table);
    app->add_option("COLUMNS", o.columns, "NAME:TYPE,... or OLD>NEW:TYPE,...")
        ->required();
    app->add_flag("--force", o.isForced, "let columns go that are not named");
    DryRun(*app, o.isDryRun);
  }
  for (const bool isDrop : {true, false}) {
    auto [app, o] =
        isDrop
            ? commands.Add<CDropOptions>("drop-table", "drops a table",
                                         "drop-table hosts --force", DropTable)
            : commands.Add<CDropOptions>("clear",
                                         "deletes all records of a table",
                                         "clear hosts --force", Clear);
    app->add_option("NAME", o.table, "the table")->required();
    app->add_flag("--force", o.isForced, "ask nothing");
    DryRun(*app, o.isDryRun);
  }
}

void AddWhole(CCommandSet& commands) {
  {
    auto [app, o] = commands.Add<CCreateOptions>(
        "create", "a new database from a creation file",
        "-r /var/lib/host create host.ini", Create);
    app->add_option("FILE", o.file, "- for standard input")->required();
    app->add_option("--id", o.id, "stands for {{$kivid}}");
    app->add_option("--host", o.host, "stands for {{$kivhost}}");
    DryRun(*app, o.isDryRun);
  }
  {
    auto [app, o] = commands.Add<CUpgradeOptions>(
        "upgrade", "takes over what a new creation file changes",
        "-r /var/lib/host upgrade /usr/share/host/host.ini", Upgrade);
    app->add_option("FILE", o.file, "the new creation file")->required();
    app->add_option("--base", o.base,
                    "the file that the database was made from, if none is "
                    "kept");
    app->add_flag("--prune", o.prunes,
                  "delete unchanged records that are shipped no more");
    app->add_option("--id", o.id, "stands for {{$kivid}}");
    app->add_option("--host", o.host, "stands for {{$kivhost}}");
    DryRun(*app, o.isDryRun);
  }
  {
    auto [app, o] =
        commands.Add<CDumpOptions>("dump", "a creation file of what is there",
                                   "dump hosts >hosts.ini", Dump);
    app->add_option("TABLE", o.tables, "some tables, all unless given");
    app->add_option("--redact", o.redacted, "write *** for TABLE.COLUMN")
        ->expected(1)
        ->take_all();
  }
  {
    auto [app, o] = commands.Add<CCheckOptions>(
        "check", "finds and repairs what is damaged", "check --repair", Check);
    app->add_option("TABLE", o.tables, "some tables, all unless given");
    auto* repair = app->add_flag("--repair", o.repairs, "repair what can be");
    auto* restore =
        app->add_flag("--restore", o.restores,
                      "an interrupted save: take the record that it wrote");
    app->add_flag("--discard", o.discards,
                  "an interrupted save: move that record away")
        ->needs(repair)
        ->excludes(restore);
    restore->needs(repair);
    DryRun(*app, o.isDryRun);
  }
  {
    auto [app, o] =
        commands.Add<CDiffOptions>("diff", "what differs from another database",
                                   "diff /var/lib/other", Diff);
    app->add_option("OTHER", o.other, "a root or a creation file")->required();
  }
}

void AddCopies(CCommandSet& commands) {
  {
    auto [app, o] = commands.Add<CCopyOptions>(
        "backup", "a tar archive of all tables, beside a running host",
        "backup /var/backups/host.tar", Backup);
    app->add_option("FILE", o.file, "- for standard output")->required();
  }
  {
    auto [app, o] = commands.Add<CCopyOptions>(
        "restore", "a new database from such an archive",
        "-r /var/lib/host restore /var/backups/host.tar", Restore);
    app->add_option("FILE", o.file, "- for standard input")->required();
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
