// Runs the example host and compares what it prints with what it leaves.

#include <pwd.h>

#include <cstdio>
#include <cstring>
#include <map>

#include "test_util.h"

namespace KivDB {
namespace {

using HostTest = CRootTest;

// Runs the host; gives the lines that it prints.
Lines RunHost(const std::string& root) {
  const std::string command = std::string(KIVDB_HOST_PROGRAM) +
                              " " KIVDB_EXAMPLES_DIR "/appliance.ini " + root +
                              " 2>&1";
  FILE* output = popen(command.c_str(), "r");
  Lines lines;
  char line[1024];
  while (std::fgets(line, sizeof(line), output) != nullptr) {
    lines.push_back(std::string(line).substr(0, std::strlen(line) - 1));
  }
  EXPECT_EQ(0, pclose(output));
  return lines;
}

// A record line "  table/id: value | value" gives its path and its values.
bool ParseRecord(const std::string& line, std::string& path,
                 std::string& values) {
  const std::size_t colon = line.find(": ");
  const std::size_t slash = line.find('/');
  if (line.rfind("  ", 0) != 0 || slash > colon || colon == line.npos ||
      line.find(' ', 2) != colon + 1) {
    return false;
  }
  path = line.substr(2, colon - 2);
  values = line.substr(colon + 2);
  return true;
}

TEST_F(HostTest, PrintsTheRecordsThatItLeaves) {
  for (const char* run : {"first", "second"}) {
    SCOPED_TRACE(run);
    const Lines lines = RunHost(m_root);
    std::map<std::string, std::string> printed;  // the last of each record
    for (const auto& line : lines) {
      std::string path;
      std::string values;
      if (ParseRecord(line, path, values)) printed[path] = values;
    }
    for (const auto& [path, values] : printed) {
      std::string file = GetFile("kiv/database/" + path);
      for (std::size_t at = file.find('|'); at != file.npos;
           at = file.find('|', at + 3)) {
        file.replace(at, 1, at + 1 == file.size() ? "" : " | ");
      }
      EXPECT_EQ(values, file) << path;
    }
    EXPECT_EQ("ssh | 22 | tcp | yes", printed["services/2"]);
    EXPECT_EQ("banner|welcome|", GetFile("kiv/database/settings/4"));
    EXPECT_EQ("database|7|", GetFile("kiv/database/settings/1"));
    for (const auto& name : ListFiles("kiv/database/services")) {
      EXPECT_EQ(1U, printed.count("services/" + name)) << name;
    }
    EXPECT_EQ(20U, ListFiles("kiv/database/services").size());
    EXPECT_EQ((Names{"accounts", "protocols", "services", "settings"}),
              ListFiles("kiv/schema"));
    EXPECT_EQ(ListFiles("kiv/schema"), ListFiles("kiv/database"));
  }
}

TEST_F(HostTest, KeepsEachAccountOfTheMachineOnce) {
  RunHost(m_root);
  RunHost(m_root);
  std::multiset<std::string> expected;
  setpwent();
  while (const passwd* account = getpwent()) {
    expected.insert(std::string(account->pw_name) + " " +
                    std::to_string(account->pw_uid));
  }
  endpwent();
  CTable accounts(m_root.c_str(), "accounts");
  ASSERT_EQ(kOk, accounts.Open());
  std::multiset<std::string> stored;
  int status = accounts.ListRecordsStart(nullptr);
  for (; status == kOk; status = accounts.ListRecordsNext(nullptr)) {
    stored.insert(accounts.getcolumn("name")->data() + std::string(" ") +
                  accounts.getcolumn("uid")->data());
  }
  EXPECT_EQ(expected, stored);
  EXPECT_FALSE(stored.empty());
}

}  // namespace
}  // namespace KivDB
