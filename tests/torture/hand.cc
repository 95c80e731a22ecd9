// Runs the operations of the library, one a line of standard input:
//
//   kivdb_hand ROOT [WORD ...]
//
// or the one of its words, and ends with its status.  A line is a word and its
// arguments, separated by tabs.  To each it answers with a line: the status,
// and behind a blank the id or what else there is. Log lines go to standard
// error.

#include <kivdb/kivdb.h>

#include <cstdio>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace KivDB {
namespace {

using Words = std::vector<std::string>;

std::string root;

// Another process may have changed the tables since the last operation.
struct COpened : CKivDatabase {
  COpened() : status(open(root.c_str())) {}
  int status;
};

int InTable(const std::string& name,
            const std::function<int(CTable& table)>& run) {
  CTable table(root.c_str(), name.c_str());
  const int status = table.Open();
  return status == kOk ? run(table) : status;
}

std::string Add(const Words& words) {
  int id = 0;
  const int status = InTable(words[1], [&](CTable& table) {
    return table.addRecord(words[2].c_str(), &id, 0);
  });
  return std::to_string(status) + " " + std::to_string(id);
}

int RunUpgrade(const char* shipped, const char* base) {
  CUpgradeOptions options;
  options.base = *base != '\0' ? base : nullptr;
  options.id = 1;
  options.host = "h";
  options.prunes = true;
  std::vector<CUpgradeStep> steps;
  return Upgrade(root.c_str(), shipped, options, steps);
}

int Migrate(const char* table, const char* columns) {
  CMigrateOptions options;
  options.drops = true;
  return MigrateTable(root.c_str(), table, columns, options);
}

using Operation = std::function<int(const Words& words)>;
Operation Changing(int (*run)(CTable& table, const Words& words)) {
  return [=](const Words& words) {
    return InTable(words[1], [&](CTable& table) { return run(table, words); });
  };
}

std::map<std::string, Operation> MakeOperations() {
  return {{"put", Changing([](CTable& table, const Words& words) {
             return table.addRecord(words[2].c_str(), nullptr, 0);
           })},
          {"update", Changing([](CTable& table, const Words& words) {
             return table.updateRecord(words[2].c_str(), words[3].c_str());
           })},
          {"delete", Changing([](CTable& table, const Words& words) {
             return table.deleteRecord(words[2].c_str());
           })},
          {"read", Changing([](CTable& table, const Words& words) {
             return table.readRecord(words[2].c_str());
           })},
          {"list", Changing([](CTable& table, const Words& words) {
             CListing listing(table);
             for (const CRow& row : listing) static_cast<void>(row.values());
             std::vector<CColumn*> columns;
             table.GetRecord(words[2].c_str(), columns);
             table.records();
             return listing.status();
           })},
          {"recover", Changing([](CTable& table, const Words& /*words*/) {
             return table.recover();
           })},
          {"clear", Changing([](CTable& table, const Words& /*words*/) {
             return table.clear();
           })},
          {"open", [](const Words& /*words*/) { return COpened().status; }},
          {"create",
           [](const Words& words) {
             return COpened().Create(words[1].c_str(), 1, "h");
           }},
          {"add_table",
           [](const Words& words) {
             return COpened().AddTable(words[1].c_str(), words[2].c_str());
           }},
          {"check_add_table",
           [](const Words& words) {
             return COpened().CheckAddTable(words[1].c_str(), words[2].c_str());
           }},
          {"drop_table",
           [](const Words& words) {
             return COpened().DropTable(words[1].c_str());
           }},
          {"drop", [](const Words& /*words*/) { return COpened().drop(); }},
          {"upgrade",
           [](const Words& words) {
             return RunUpgrade(words[1].c_str(), words[2].c_str());
           }},
          {"migrate",
           [](const Words& words) {
             return Migrate(words[1].c_str(), words[2].c_str());
           }},
          {"finish", [](const Words& /*words*/) {
             return FinishMigrations(root.c_str());
           }}};
}

std::string Run(Words words) {
  words.resize(4);
  if (words[0] == "add") return Add(words);
  static const auto operations = MakeOperations();
  const auto found = operations.find(words[0]);
  if (found == operations.end()) return "no operation";
  return std::to_string(found->second(words));
}

Words Split(const std::string& line) {
  Words words;
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
  if (argc > 2) return std::stoi(KivDB::Run({argv + 2, argv + argc}));
  for (std::string line; std::getline(std::cin, line);) {
    std::cout << KivDB::Run(KivDB::Split(line)) << std::endl;
  }
}
