// Targets of the tool: what it takes is what the library takes, and what it
// refuses changes nothing.

#include <nlohmann/json.hpp>

#include "commands.h"
#include "creation.h"
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

// The paths of a database, with the first lines of the files.
std::string Database() {
  std::set<std::string> lines;
  for (const fs::path& path : fs::recursive_directory_iterator("kiv")) {
    std::string line;
    std::error_code error;
    const bool isFile = fs::is_regular_file(path, error);
    if (isFile) std::getline(std::ifstream(path), line);
    lines.insert(path.string() + ":" + line);
  }
  std::string tree;
  for (const std::string& line : lines) tree += line + "\n";
  return tree;
}

// Makes by hand what the tool reads in a creation file.
std::string Make(const tool::CCreationFile& file) {
  Empty();
  for (const auto& table : file.Tables(file.Placeholders())) {
    const std::string directory = "kiv/database/" + table.name;
    fs::create_directory(directory);
    Put("kiv/schema/" + table.name, table.schema.line);
    for (const auto& [record, text, line] : table.records) {
      Put(directory + "/" + record.id, record.line);
    }
  }
  return Database();
}

void Create(const std::string& input) {
  Put("file", input);
  tool::CPlaceholders values;
  std::string wanted;
  try {
    const tool::CCreationFile file("file", input);
    wanted = Make(file);
    values = file.Placeholders();
    Expect(wanted, Make({"kept", file.TextWith(values)}));
  } catch (const tool::CEnd&) {
    wanted.clear();
  }
  fs::remove_all("kiv");
  CKivDatabase database;
  database.open(".");  // sets the root
  const int status = database.Create("file", values.id, values.host.c_str());
  if (!wanted.empty()) Expect(wanted, status == 0 ? Database() : "");
}

// The library takes it, too, where it has the words.
void AddTable(const std::string& input) {
  Empty();
  const std::string before = Database();
  const std::string text = ToZero(input);
  const auto count = [&](char c) {
    return std::count(text.begin(), text.end(), c);
  };
  const bool isMade = Run(tool::AddTable, {"made", text})[0] == '0';
  if (isMade) Expect("0", Run(tool::Check, tool::CCheckOptions{}));
  if (!isMade) Expect(before, Database());
  CKivDatabase database;
  database.open(".");
  const bool isAdded = database.AddTable("other", text.c_str()) == kOk;
  const bool isKnown = count(':') == 0 && count('(') == count(')') &&
                       text.find("bigint") == text.npos;
  if (!isMade || !isKnown) return;
  Expect(true, isAdded);
  Expect(Get("kiv/schema/made"), Get("kiv/schema/other"));
}

using Row = std::map<std::string, std::string>;

std::vector<Row> CsvRows(const std::string& text) {
  std::vector<std::vector<std::string>> lines;
  bool isQuoted = false;
  bool isBegin = true;  // of a line
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool isEnd = !isQuoted && (c == '\n' || c == '\r');
    if (isBegin && !isEnd) lines.push_back({""});
    isBegin = isEnd;
    if (c == '"' && isQuoted && text.compare(i + 1, 1, "\"") == 0) {
      lines.back().back() += text[++i];
    } else if (c == '"') {
      isQuoted = !isQuoted;
    } else if (c == ',' && !isQuoted) {
      lines.back().emplace_back();
    } else if (!isEnd) {
      lines.back().back() += c;
    }
  }
  Expect(false, isQuoted);
  std::vector<Row> rows(lines.size() - 1);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    Expect(lines[0].size(), lines[i + 1].size());
    for (std::size_t j = 0; j < lines[0].size(); ++j) {
      rows[i][lines[0][j]] = lines[i + 1][j];
    }
  }
  return rows;
}

std::vector<Row> JsonRows(const std::string& text) {
  auto objects = nlohmann::json::parse(text);
  if (objects.is_object()) objects = nlohmann::json::array({objects});
  std::vector<Row> rows;
  for (const auto& object : objects) {
    rows.emplace_back();
    for (const auto& [name, value] : object.items()) {
      if (value.is_number_float()) continue;  // its digits are lost
      rows.back()[name] = value.is_null()     ? ""
                          : value.is_string() ? value.get<std::string>()
                                              : value.dump();
    }
  }
  return rows;
}

// The first byte tells what is done to the record that is there.
void Import(const std::string& input, const char* format,
            std::vector<Row> (*read)(const std::string& text)) {
  Empty();
  Put("kiv/schema/t", "id[int]|a[bigint]|b[varchar]");
  Put("kiv/database/t/7", "1|x\\x2c|");
  const std::string before = Database();
  std::string text = input.substr(input.empty() ? 0 : 1);
  Put("file", text);
  tool::CImportOptions options{"t", "file", format};
  options.replaces = input[0] == 'r';
  options.updates = input[0] == 'u';
  if (Run(tool::Import, options)[0] != '0') {
    Expect(before, Database());
    return;
  }
  if (text.compare(0, 3, "\xef\xbb\xbf") == 0) text.erase(0, 3);
  const auto rows = read(text);
  CTable table(".", "t");
  Expect(kOk, table.Open());
  const bool isAdding = !options.replaces && !options.updates;
  const auto count = static_cast<std::size_t>(table.records());
  if (isAdding) Expect(rows.size() + 1, count);
  for (const Row& row : rows) {
    const auto id = row.find("id");
    if (id == row.end() || id->second.empty()) continue;
    Expect(kOk, table.readRecord(id->second.c_str()));
    for (const auto& [column, value] : row) {
      Expect(value, table.getcolumn(column.c_str())->data());
    }
  }
  const std::string after = Database();
  const std::string dump = Run(tool::Dump, tool::CDumpOptions{});
  if (dump[0] != '0') return;
  const std::string made = Make({"dump", dump.substr(1)});
  Expect(Unescape(after), Unescape(made));
}

// Makes an entry of "KIND PATH CONTENT": a file, a young one, a directory, a
// FIFO or a link.  Nothing leads out of the database.
void MakeEntry(const std::string& line) {
  if (line.size() < 4 || line.find("..") < line.size()) return;
  std::string path = "kiv/";
  std::string content;
  std::istringstream words(line.substr(2));
  words >> content;
  path += content;
  std::getline(words.ignore(), content);
  std::error_code error;
  fs::create_directories(fs::path(path).parent_path(), error);
  const fs::file_type type = fs::symlink_status(path, error).type();
  if (type != fs::file_type::not_found) return;
  if (line[0] == 'd') fs::create_directory(path, error);
  if (line[0] == 'p') mkfifo(path.c_str(), 0600);
  const bool isInside = content.empty() || content[0] != '/';
  if (line[0] == 'l' && isInside) fs::create_symlink(content, path, error);
  if (line[0] == 'f' || line[0] == 'y') std::ofstream(path) << content;
  const auto old = fs::file_time_type::clock::now() - std::chrono::hours(9);
  if (line[0] == 'f') fs::last_write_time(path, old, error);
}

// What stays of each entry that is no directory when it is moved.
std::map<ino_t, fs::path> Files() {
  std::map<ino_t, fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator("kiv")) {
    struct stat status {};
    lstat(entry.path().c_str(), &status);
    if (!S_ISDIR(status.st_mode)) files[status.st_ino] = entry.path();
  }
  return files;
}

void Check(const std::string& input) {
  Empty();
  std::istringstream lines(input);
  for (std::string line; std::getline(lines, line);) MakeEntry(line);
  const bool migrates = fs::exists("kiv/migrate");
  const auto files = Files();
  const std::string before = Database();
  tool::CCheckOptions options;
  Run(tool::Check, options);
  Expect(before, Database());
  options.repairs = true;
  options.restores = input.size() % 2 == 1;
  options.discards = !options.restores;
  Run(tool::Check, options);
  const auto left = Files();
  for (const auto& [file, path] : files) {
    // A migration that is finished brings its own schema.
    const bool mayGo = migrates && (path == "kiv/migrate/stage" ||
                                    path.parent_path() == "kiv/schema");
    if (!mayGo) Expect(path, left.count(file) != 0 ? path : "");
  }
  const std::string repaired = Database();
  Run(tool::Check, options);
  Expect(repaired, Database());
}

}  // namespace

FuzzTargets ToolTargets() {
  return {
      {"create", Create},
      {"add-table", AddTable},
      {"import-csv", [](const std::string& in) { Import(in, "csv", CsvRows); }},
      {"import-json",
       [](const std::string& in) { Import(in, "json", JsonRows); }},
      {"check", Check}};
}

}  // namespace KivDB
