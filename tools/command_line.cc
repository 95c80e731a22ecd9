// Options, help and wrong usage.

#include "command_line.h"

#include <kivdb/version.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>

#include "change_options.h"
#include "command_options.h"
#include "command_set.h"
#include "formats/format.h"

namespace tool {
namespace {

using App = CLI::App;
constexpr char kHelp[] = "help";

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
    AddCommands(m_commands);
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
    return m_commands.RunOf(chosen->get_name());
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
    m_commands.program()->assign(mark + 1, argv + argc);
    argc = before;
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
    m_commands.EndWithNul(m_app);
    m_app
        .add_option("--wait", m_globals.wait,
                    "seconds to wait for changes of others, 15 unless given")
        ->check(CLI::Range(0.0, 1e6));
    m_app.add_flag_callback(
        "--no-progress", [this] { m_globals.showsProgress = false; },
        "no progress on a terminal");
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
    return m_commands.ExampleOf(app->get_name()) +
           m_app.get_formatter()->make_help(app, name,
                                            CLI::AppFormatMode::Normal);
  }

  static Runs Printing(std::string text) {
    return [text = std::move(text)](const CContext& context) {
      context.out.Write(text);
    };
  }

  CGlobals m_globals;
  App m_app;
  CCommandSet m_commands{m_app, m_globals.endsWithNul};
};

}  // namespace

CRun ParseCommandLine(int argc, char** argv) {
  static CCommandLine commandLine;
  return commandLine.Parse(argc, argv);
}

}  // namespace tool
