// Targets of the tool: what it takes is what the library takes, and what it
// refuses changes nothing.

#include <numeric>

#include "commands.h"
#include "fuzz.h"

namespace KivDB {
namespace {

// Gives the status, and what standard output, a file, was told.
template <typename Options>
std::string Run(void (*command)(const tool::CContext&, const Options&),
                const Options& options) {
  const tool::CGlobals globals;
  tool::COutput out(false);
  tool::CReport report;
  fs::resize_file("output", 0);
  lseek(STDOUT_FILENO, 0, SEEK_SET);
  try {
    command({globals, out, report}, options);
  } catch (const tool::CEnd& end) {
    report.Raise(end.verdict());
  }
  out.Finish(report);
  return std::to_string(static_cast<int>(report.verdict())) + Get("output");
}

void Empty() {
  fs::remove_all("kiv");
  fs::create_directories("kiv/schema");
  fs::create_directories("kiv/database");
}

// The paths and files of a database.
std::string Database() {
  std::set<std::string> files;
  for (const fs::path& path : fs::recursive_directory_iterator("kiv")) {
    files.insert(path.string() + ":" + Get(path) + "\n");
  }
  return std::accumulate(files.begin(), files.end(), std::string());
}

// What a dump tells is what is there.
void ExpectDumped() {
  const std::string dump = Run(tool::Dump, tool::CDumpOptions{});
  if (dump[0] != '0') return;
  Put("dump", dump.substr(1));
  Expect("0", Run(tool::Diff, {"dump"}));
}

// The library makes of it what the tool reads in it.
void Create(const std::string& input) {
  fs::remove_all("kiv");
  Put("file", input);
  tool::CCreateOptions options;
  options.file = "file";
  const bool isMade = Run(tool::Create, options)[0] == '0';
  Expect(isMade, fs::exists("kiv"));
  if (isMade) {
    Expect("0", Run(tool::Diff, {"file"}));
    ExpectDumped();
    fs::remove_all("kiv");
  }
  options.isDryRun = true;
  Expect(isMade, Run(tool::Create, options)[0] == '0');
}

// What the library takes, too, means the same to it.
void AddTable(const std::string& input) {
  Empty();
  const std::string before = Database();
  const std::string text = ToZero(input);
  if (Run(tool::AddTable, {"made", text})[0] != '0') {
    Expect(before, Database());
    return;
  }
  Expect("0", Run(tool::Check, tool::CCheckOptions{}));
  CKivDatabase database;
  database.open(".");
  if (database.AddTable("other", text.c_str()) != kOk) return;
  Expect(Get("kiv/schema/made"), Get("kiv/schema/other"));
}

// The first byte tells what is done to the record that is there.
void Import(const std::string& input, const char* format) {
  Empty();
  Put("kiv/schema/t", "id[int]|a[bigint]|b[varchar]");
  Put("kiv/database/t/7", "1|x\\x2c|");
  const std::string before = Database();
  Put("file", input.substr(input.empty() ? 0 : 1));
  tool::CImportOptions options{"t", "file", format};
  options.replaces = input[0] == 'r';
  options.updates = input[0] == 'u';
  const bool isTaken = Run(tool::Import, options)[0] == '0';
  if (!isTaken) Expect(before, Database());
  if (isTaken) ExpectDumped();
}

// Makes old files, each of a line "PATH CONTENT", and their directories.
void MakeFiles(const std::string& input) {
  if (input.find("..") < input.size()) return;  // all in the database
  const auto old = fs::file_time_type::clock::now() - std::chrono::hours(9);
  std::istringstream words(input);
  std::string path;
  for (std::string content; words >> path;) {
    std::getline(words, content);
    path = "kiv/" + path;
    std::error_code error;
    fs::create_directories(fs::path(path).parent_path(), error);
    std::ofstream(path) << content.erase(0, 1);
    fs::last_write_time(path, old, error);
  }
}

// They stay when they are moved.  A migration that is finished brings its own
// schema.
std::set<ino_t> Files(bool migrates) {
  std::set<ino_t> files;
  for (const fs::path& path : fs::recursive_directory_iterator("kiv")) {
    const bool mayGo = migrates && (path == "kiv/migrate/stage" ||
                                    path.parent_path() == "kiv/schema");
    struct stat status {};
    stat(path.c_str(), &status);
    if (!mayGo && !S_ISDIR(status.st_mode)) files.insert(status.st_ino);
  }
  return files;
}

void Check(const std::string& input) {
  Empty();
  MakeFiles(input);
  const auto files = Files(fs::exists("kiv/migrate"));
  const std::string before = Database();
  tool::CCheckOptions options;
  Run(tool::Check, options);
  Expect(before, Database());
  options.repairs = true;
  options.restores = input.size() % 2 == 1;
  options.discards = !options.restores;
  const bool isRepaired = Run(tool::Check, options)[0] != '2';
  const std::string repaired = Database();
  const auto left = Files(false);
  Expect(true,
         std::includes(left.begin(), left.end(), files.begin(), files.end()));
  Run(tool::Check, options);
  if (isRepaired) Expect(repaired, Database());
}

}  // namespace

FuzzTargets ToolTargets() {
  return {{"create", Create},
          {"add-table", AddTable},
          {"import-csv", [](const std::string& in) { Import(in, "csv"); }},
          {"import-json", [](const std::string& in) { Import(in, "json"); }},
          {"check", Check}};
}

}  // namespace KivDB
