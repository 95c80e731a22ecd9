// Options, help and wrong usage.

#include "command_line.h"

#include <kivdb/version.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <numeric>
#include <string_view>
#include <utility>

#include "change_options.h"
#include "commands.h"
#include "formats/format.h"

namespace tool {
namespace {

using App = CLI::App;
constexpr char kHelp[] = "help";
constexpr char kWatch[] = "watch";

using Runs = std::function<void(const CContext& context)>;

// The steps from one word to the other, a letter each.
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t change = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({change, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

class CCommandLine {
 public:
  CCommandLine()
      : m_app("Looks at and changes the tables of a KivDB database.", "kivdb") {
    AddGlobals();
    AddReading();
    AddChanging();
    AddTables();
    AddWhole();
    AddCopies();
    AddWatch();
    AddHelp();
  }

  CRun Parse(int argc, char** argv) {
    CRun run;
    run.command = ParseCommand(argc, argv);
    run.globals = m_globals;
    return run;
  }

 private:
  Runs ParseCommand(int argc, char** argv) {
    if (argc > 1 && std::string(argv[1]) == kHelp) {
      return Help({argv + 2, argv + argc});
    }
    TakeProgram(argc, argv);
    try {
      m_app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
      return Printing(HelpOf(Chosen()));
    } catch (const CLI::CallForVersion&) {
      return Printing(std::string("kivdb ") + KivDB::Version() + "\n");
    } catch (const CLI::ParseError& error) {
      EndTrouble("", error.what() + std::string("; see kivdb help"));
    }
    const Texts extra = Unexpected(m_app);
    const App* chosen = Chosen();
    if (chosen == nullptr && extra.empty()) {
      EndTrouble("", "no command; see kivdb help");
    }
    if (chosen == nullptr) RefuseCommand(extra.front());
    if (!extra.empty()) {
      EndTrouble("", "not expected: " + extra.front() + "; see kivdb help " +
                         chosen->get_name());
    }
    if (chosen->get_name() == kHelp) return Help({});
    return m_runs[chosen->get_name()];
  }

  // Behind "--" watch has no arguments, but a program with its own.
  void TakeProgram(int& argc, char** argv) {
    char** const mark = std::find(argv, argv + argc, std::string_view("--"));
    if (mark == argv + argc) return;
    const int before = static_cast<int>(mark - argv);
    try {
      m_app.parse(before, argv);
    } catch (const CLI::ParseError&) {
      // Told when all is parsed.
    }
    if (Chosen() == nullptr || Chosen()->get_name() != kWatch) return;
    m_program->assign(mark + 1, argv + argc);
    argc = before;
  }

  template <typename Options>
  using Command = void (*)(const CContext& context, const Options& options);

  // A command with its options, which live as long as what runs it.
  template <typename Options>
  std::pair<App*, Options&> AddCommand(const char* name, const char* what,
                                       const char* example,
                                       Command<Options> command) {
    App* app = m_app.add_subcommand(name, what);
    app->fallthrough();
    EndWithNul(*app);  // a digit is an option where it was added only
    m_examples[name] = std::string("Example: kivdb ") + example + "\n\n";
    auto options = std::make_shared<Options>();
    m_runs[name] = [options, command](const CContext& context) {
      command(context, *options);
    };
    return {app, *options};
  }

  void EndWithNul(App& app) {
    app.add_flag("-0,--null", m_globals.endsWithNul,
                 "end ids with NUL, with -o ids");
  }

  static Texts Split(const std::string& text) {
    return CLI::detail::split(text, ',');
  }

  static void Table(App* app, std::string& table) {
    app->add_option("TABLE", table, "the table")->required();
  }
  static void DryRun(App* app, bool& isDryRun) {
    app->add_flag("--dry-run", isDryRun, "only print what would change");
  }

  void AddGlobals() {
    m_app.allow_extras();
    m_app.require_subcommand(0, 1);  // a column may have the name of a command
    m_app.set_version_flag("--version", "");
    m_app.add_option("-r,--root", m_globals.root,
                     "the directory of the database, . unless given");
    m_app.add_option("-o,--output", m_globals.format, "the output format")
        ->check(CLI::IsMember(FormatNames()));
    m_app.add_flag("-q,--quiet", m_globals.isQuiet,
                   "print nothing when the status is 1");
    m_app.add_flag("-v,--verbose", m_globals.isVerbose,
                   "show the library's log lines");
    EndWithNul(m_app);
    m_app
        .add_option("--wait", m_globals.wait,
                    "seconds to wait for changes of others, 15 unless given")
        ->check(CLI::Range(0.0, 1e6));
    m_app.add_flag_callback(
        "--no-progress", [this] { m_globals.showsProgress = false; },
        "no progress on a terminal");
  }

  void AddReading() {
    AddCommand<CTablesOptions>("tables", "the tables with their figures",
                               "tables", Tables);
    {
      auto [app, o] = AddCommand<CSchemaOptions>(
          "schema", "the columns of tables", "schema hosts", Schema);
      app->add_option("TABLE", o.tables, "some tables, all unless given");
    }
    {
      auto [app, o] = AddCommand<CListOptions>(
          "list", "the records that meet all conditions",
          "list hosts port=443 --columns id,name", List);
      Table(app, o.table);
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
      auto [app, o] = AddCommand<CGetOptions>("get", "one record, or one value",
                                              "get hosts 7 port", Get);
      Table(app, o.table);
      app->add_option("ID", o.id, "the record")->required();
      app->add_option_function<std::string>(
          "COLUMN", [&o = o](const std::string& text) { o.column = text; },
          "only this value");
      app->add_option_function<std::string>(
          "--default", [&o = o](const std::string& text) { o.fallback = text; },
          "stands for a missing record or an empty value");
    }
  }

  void AddChanging() {
    {
      auto [app, o] =
          AddCommand<CAddOptions>("add", "adds a record and prints its id",
                                  "add hosts name=alpha port=80", Add);
      Define(*app, o);
    }
    {
      auto [app, o] = AddCommand<CSetOptions>(
          "set", "changes values of a record", "set hosts 7 port=8080", Set);
      Define(*app, o);
    }
    {
      auto [app, o] = AddCommand<CDeleteOptions>(
          "delete", "deletes records and prints their number",
          "delete hosts 7 8", Delete);
      Define(*app, o);
      DryRun(app, o.isDryRun);
    }
    {
      auto [app, o] = AddCommand<CEditOptions>(
          "edit", "a record in your editor", "edit hosts 7", Edit);
      Table(app, o.table);
      app->add_option("ID", o.id, "the record")->required();
    }
    {
      auto [app, o] = AddCommand<CImportOptions>(
          "import", "adds records of a CSV or JSON file",
          "import hosts hosts.csv", Import);
      Table(app, o.table);
      app->add_option("FILE", o.file, "standard input unless given");
      app->add_option("--from", o.format, "its format, unless by its name")
          ->check(CLI::IsMember({"csv", "json", "jsonl"}));
      app->add_flag("--replace", o.replaces, "replace records that are there");
      app->add_flag("--update", o.updates,
                    "change the columns of the file in records that are there");
      DryRun(app, o.isDryRun);
    }
    {
      auto [app, o] = AddCommand<CBatchOptions>(
          "batch", "does lines of add, set and delete, all checked first",
          "batch changes.txt", Batch);
      app->add_option("FILE", o.file, "standard input unless given");
      DryRun(app, o.isDryRun);
    }
  }

  void AddWatch() {
    auto [app, o] = AddCommand<CWatchOptions>(
        kWatch, "every change of a record, as it happens",
        "watch hosts -- systemctl reload host", Watch);
    app->add_option("TABLE", o.tables, "some tables, all unless given");
    app->footer("Behind -- stands a command, which is run for each change.");
    m_program = &o.command;
  }

  void AddTables() {
    {
      auto [app, o] = AddCommand<CAddTableOptions>(
          "add-table", "adds a table",
          "add-table hosts 'id:int,name:varchar,port:int'", AddTable);
      app->add_option("NAME", o.table, "the table")->required();
      app->add_option("COLUMNS", o.columns, "NAME:TYPE,... or NAME(TYPE),...")
          ->required();
    }
    {
      auto [app, o] = AddCommand<CMigrateOptions>(
          "migrate", "gives a table other columns",
          "migrate hosts 'id:int,name>title:varchar,port:int,note:varchar'",
          Migrate);
      Table(app, o.table);
      app->add_option("COLUMNS", o.columns, "NAME:TYPE,... or OLD>NEW:TYPE,...")
          ->required();
      app->add_flag("--force", o.isForced, "let columns go that are not named");
      DryRun(app, o.isDryRun);
    }
    for (const bool isDrop : {true, false}) {
      auto [app, o] =
          isDrop
              ? AddCommand<CDropOptions>("drop-table", "drops a table",
                                         "drop-table hosts --force", DropTable)
              : AddCommand<CDropOptions>("clear",
                                         "deletes all records of a table",
                                         "clear hosts --force", Clear);
      app->add_option("NAME", o.table, "the table")->required();
      app->add_flag("--force", o.isForced, "ask nothing");
      DryRun(app, o.isDryRun);
    }
  }

  void AddWhole() {
    {
      auto [app, o] = AddCommand<CCreateOptions>(
          "create", "a new database from a creation file",
          "-r /var/lib/host create host.ini", Create);
      app->add_option("FILE", o.file, "- for standard input")->required();
      app->add_option("--id", o.id, "stands for {{$kivid}}");
      app->add_option("--host", o.host, "stands for {{$kivhost}}");
      DryRun(app, o.isDryRun);
    }
    {
      auto [app, o] = AddCommand<CUpgradeOptions>(
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
      DryRun(app, o.isDryRun);
    }
    {
      auto [app, o] =
          AddCommand<CDumpOptions>("dump", "a creation file of what is there",
                                   "dump hosts >hosts.ini", Dump);
      app->add_option("TABLE", o.tables, "some tables, all unless given");
      app->add_option("--redact", o.redacted, "write *** for TABLE.COLUMN")
          ->expected(1)
          ->take_all();
    }
    {
      auto [app, o] = AddCommand<CCheckOptions>(
          "check", "finds and repairs what is damaged", "check --repair",
          Check);
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
      DryRun(app, o.isDryRun);
    }
    {
      auto [app, o] =
          AddCommand<CDiffOptions>("diff", "what differs from another database",
                                   "diff /var/lib/other", Diff);
      app->add_option("OTHER", o.other, "a root or a creation file")
          ->required();
    }
  }

  void AddCopies() {
    {
      auto [app, o] = AddCommand<CCopyOptions>(
          "backup", "a tar archive of all tables, beside a running host",
          "backup /var/backups/host.tar", Backup);
      app->add_option("FILE", o.file, "- for standard output")->required();
    }
    {
      auto [app, o] = AddCommand<CCopyOptions>(
          "restore", "a new database from such an archive",
          "-r /var/lib/host restore /var/backups/host.tar", Restore);
      app->add_option("FILE", o.file, "- for standard input")->required();
    }
  }

  // Parse takes the command itself: its argument would begin another one.
  void AddHelp() { m_app.add_subcommand(kHelp, "explains a command"); }

  Runs Help(const Texts& names) const {
    const App* about = names.empty() ? nullptr : Find(names.front());
    if (about == nullptr && !names.empty()) RefuseCommand(names.front());
    return Printing(HelpOf(about));
  }

  const App* Find(const std::string& name) const {
    for (const App* app : m_app.get_subcommands({})) {
      if (app->get_name() == name) return app;
    }
    return nullptr;
  }

  const App* Chosen() const {
    for (const App* app : m_app.get_subcommands({})) {
      if (app->parsed()) return app;
    }
    return nullptr;
  }

  [[noreturn]] void RefuseCommand(const std::string& name) const {
    std::string nearest;
    for (const App* app : m_app.get_subcommands({})) {
      const std::string& other = app->get_name();
      if (nearest.empty() || Distance(name, other) < Distance(name, nearest)) {
        nearest = other;
      }
    }
    EndTrouble("", "no command " + name + ", perhaps " + nearest);
  }

  // The example first.
  std::string HelpOf(const App* app) const {
    if (app == nullptr) app = &m_app;
    const std::string name =
        app == &m_app ? "kivdb" : "kivdb " + app->get_name();
    const auto found = m_examples.find(app->get_name());
    return (found != m_examples.end() ? found->second : "") +
           m_app.get_formatter()->make_help(app, name,
                                            CLI::AppFormatMode::Normal);
  }

  static Runs Printing(std::string text) {
    return [text = std::move(text)](const CContext& context) {
      context.out.Write(text);
    };
  }

  CGlobals m_globals;
  Texts* m_program = nullptr;
  App m_app;
  std::map<std::string, Runs> m_runs;
  std::map<std::string, std::string> m_examples;
};

}  // namespace

CRun ParseCommandLine(int argc, char** argv) {
  static CCommandLine commandLine;
  return commandLine.Parse(argc, argv);
}

}  // namespace tool
