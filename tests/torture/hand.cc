// Runs the operations of the library, one a line of standard input:
//
//   kivdb_hand ROOT [WORD ...]
//
// or the one of its words, and ends with its status.  A line is a word and its
// arguments, separated by tabs.  To each it answers with a line: the status,
// and behind a blank the id or what else there is. Log lines go to standard
// error.

#include <kivdb/kivdb.h>

#include <algorithm>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace KivDB {
namespace {

// The word of the operation, then its arguments; what is not given is empty.
using Words = const char* const*;

const char* root;

// Another process may have changed the tables since the last operation.
struct COpened : CKivDatabase {
  COpened() : status(open(root)) {}
  int status;
};

std::string id;  // that an operation gave

int Add(CTable& table, Words words) {
  int added = 0;
  const int status = table.addRecord(words[2], &added, 0);
  id = " " + std::to_string(added);
  return status;
}

int List(CTable& table, Words words) {
  CListing listing(table);
  for (const CRow& row : listing) static_cast<void>(row.values());
  std::vector<CColumn*> columns;
  table.GetRecord(words[2], columns);
  table.records();
  return listing.status();
}

int Create(Words words) {
  const char* host = *words[3] != '\0' ? words[3] : "h";
  const int number = *words[2] != '\0' ? std::stoi(words[2]) : 1;
  return COpened().Create(words[1], number, host);
}

int RunUpgrade(Words words) {
  CUpgradeOptions options;
  options.base = *words[2] != '\0' ? words[2] : nullptr;
  options.id = 1;
  options.host = "h";
  options.prunes = true;
  std::vector<CUpgradeStep> steps;
  return Upgrade(root, words[1], options, steps);
}

int Migrate(Words words) {
  CMigrateOptions options;
  options.drops = true;
  return MigrateTable(root, words[1], words[2], options);
}

using Change = int (*)(CTable& table, Words words);
constexpr struct {
  std::string_view word;
  Change run;
} kChanges[] = {
    {"add", Add},
    {"put", [](CTable& t, Words w) { return t.addRecord(w[2], nullptr, 0); }},
    {"update", [](CTable& t, Words w) { return t.updateRecord(w[2], w[3]); }},
    {"delete", [](CTable& t, Words w) { return t.deleteRecord(w[2]); }},
    {"read", [](CTable& t, Words w) { return t.readRecord(w[2]); }},
    {"list", List},
    {"recover", [](CTable& t, Words /*w*/) { return t.recover(); }},
    {"clear", [](CTable& t, Words /*w*/) { return t.clear(); }}};

using Operation = int (*)(Words words);
constexpr struct {
  std::string_view word;
  Operation run;
} kOperations[] = {
    {"open", [](Words /*w*/) { return COpened().status; }},
    {"create", Create},
    {"add_table", [](Words w) { return COpened().AddTable(w[1], w[2]); }},
    {"check_add_table",
     [](Words w) { return COpened().CheckAddTable(w[1], w[2]); }},
    {"drop_table", [](Words w) { return COpened().DropTable(w[1]); }},
    {"drop", [](Words /*w*/) { return COpened().drop(); }},
    {"upgrade", RunUpgrade},
    {"migrate", Migrate},
    {"finish", [](Words /*w*/) { return FinishMigrations(root); }}};

int Run(Words words) {
  id.clear();
  for (const auto& [word, run] : kOperations) {
    if (word == words[0]) return run(words);
  }
  for (const auto& [word, run] : kChanges) {
    if (word != words[0]) continue;
    CTable table(root, words[1]);
    const int status = table.Open();
    return status == kOk ? run(table, words) : status;
  }
  return -1;
}

std::string Answer(std::vector<std::string> words) {
  words.resize(4);
  const char* texts[4];
  std::transform(words.begin(), words.end(), texts,
                 [](const std::string& word) { return word.c_str(); });
  const std::string status = std::to_string(Run(texts));
  return status + id;
}

std::vector<std::string> Split(const std::string& line) {
  std::vector<std::string> words;
  std::istringstream parts(line);
  for (std::string word; std::getline(parts, word, '\t');) {
    words.push_back(word);
  }
  return words;
}

}  // namespace
}  // namespace KivDB

int main(int argc, char** argv) {
  if (argc < 2) return 1;
  KivDB::root = argv[1];
  if (argc > 2) return std::stoi(KivDB::Answer({argv + 2, argv + argc}));
  for (std::string line; std::getline(std::cin, line);) {
    std::cout << KivDB::Answer(KivDB::Split(line)) << std::endl;
  }
}
