// Options, help and wrong usage.

#include "command_line.h"

#include <kivdb/version.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "change_options.h"
#include "command_options.h"
#include "command_set.h"
#include "formats/format.h"

namespace tool {
namespace {

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
  CCommandLine() {
    AddGlobals();
    AddCommands(m_commands);
    AddHelp();
  }

  CRun Parse(const Texts& words) {
    CRun run;
    run.command = ParseCommand(words);
    run.globals = m_globals;
    return run;
  }

 private:
  Runs ParseCommand(Texts words) {
    if (!words.empty() && words.front() == kHelp) {
      return Help({words.begin() + 1, words.end()});
    }
    TakeProgram(words);
    const COptions::Asked asked = ParseAll(words);
    const std::string chosen = m_all.Chosen();
    if (asked == COptions::Asked::kHelp) return Printing(HelpOf(chosen));
    if (asked == COptions::Asked::kVersion) {
      return Printing(std::string("kivdb ") + KivDB::Version() + "\n");
    }
    const Texts extra = m_all.Unexpected();
    if (chosen.empty() && extra.empty()) {
      EndTrouble("", "no command; see kivdb help");
    }
    if (chosen.empty()) RefuseCommand(extra.front());
    if (!extra.empty()) {
      EndTrouble(
          "", "not expected: " + extra.front() + "; see kivdb help " + chosen);
    }
    if (chosen == kHelp) return Help({});
    return m_commands.RunOf(chosen);
  }

  COptions::Asked ParseAll(const Texts& words) {
    try {
      return m_all.Parse(words);
    } catch (const CWrongUsage& wrong) {
      EndTrouble("", wrong.what() + std::string("; see kivdb help"));
    }
  }

  // Behind "--" watch has no arguments, but a program with its own.
  void TakeProgram(Texts& words) {
    const auto mark = std::find(words.begin(), words.end(), "--");
    if (mark == words.end()) return;
    try {
      m_all.Parse({words.begin(), mark});
    } catch (const CWrongUsage&) {
      // Told when all is parsed.
    }
    if (m_all.Chosen() != kWatch) return;
    m_commands.program()->assign(mark + 1, words.end());
    words.erase(mark, words.end());
  }

  void AddGlobals() {
    m_all.Option("-r,--root", m_globals.root,
                 "the directory of the database, . unless given");
    m_all.Option("-o,--output", m_globals.format, "the output format")
        .OneOf(FormatNames());
    m_all.Flag("-q,--quiet", m_globals.isQuiet,
               "print nothing when the status is 1");
    m_all.Flag("-v,--verbose", m_globals.isVerbose,
               "show the library's log lines");
    m_commands.EndWithNul(m_all);
    m_all
        .Option("--wait", m_globals.wait,
                "seconds to wait for changes of others, 15 unless given")
        .UpTo(1e6);
    m_all.Flag("--no-progress", m_globals.hidesProgress,
               "no progress on a terminal");
  }

  // Parse takes the command itself: its argument would begin another one.
  void AddHelp() { m_all.Command(kHelp, "explains a command"); }

  Runs Help(const Texts& names) const {
    if (names.empty()) return Printing(HelpOf(""));
    const Texts all = m_all.Commands();
    if (std::find(all.begin(), all.end(), names.front()) == all.end()) {
      RefuseCommand(names.front());
    }
    return Printing(HelpOf(names.front()));
  }

  [[noreturn]] void RefuseCommand(const std::string& name) const {
    std::string nearest;
    for (const std::string& other : m_all.Commands()) {
      if (nearest.empty() || Distance(name, other) < Distance(name, nearest)) {
        nearest = other;
      }
    }
    EndTrouble("", "no command " + name + ", perhaps " + nearest);
  }

  // The example first.
  std::string HelpOf(const std::string& command) const {
    return m_commands.ExampleOf(command) + m_all.HelpOf(command);
  }

  static Runs Printing(std::string text) {
    return [text = std::move(text)](const CContext& context) {
      context.out.Write(text);
    };
  }

  CGlobals m_globals;
  COptions m_all{"kivdb",
                 "Looks at and changes the tables of a KivDB database."};
  CCommandSet m_commands{m_all, m_globals.endsWithNul};
};

}  // namespace

CRun ParseCommandLine(int argc, char** argv) {
  static CCommandLine commandLine;
  return commandLine.Parse({argv + std::min(argc, 1), argv + argc});
}

}  // namespace tool
