// Runs the example host and compares what it prints with what it leaves.

#include <cstdio>

#include "test_util.h"

namespace KivDB {

TEST_F(RootTest, PrintsTheRecordsThatItLeaves) {
  std::string accounts;
  for (const char* run : {"first", "second"}) {
    SCOPED_TRACE(run);
    FILE* pipe = popen("'" KIVDB_HOST_PROGRAM "' '" KIVDB_EXAMPLES_DIR
                       "/appliance.ini' . 2>&1",
                       "r");
    std::string output;
    for (int c = fgetc(pipe); c != EOF; c = fgetc(pipe)) {
      output += static_cast<char>(c);
    }
    EXPECT_EQ(0, pclose(pipe));
    const std::string remain = "The services that remain: 20\n";
    ASSERT_NE(output.npos, output.find(remain)) << output;
    const std::string end = output.substr(output.find(remain) + remain.size());

    // Each record as a line "  table/id: value | value".
    for (const std::string table : {"services/", "accounts/", "settings/"}) {
      for (const auto& file : fs::directory_iterator("kiv/database/" + table)) {
        const std::string id = file.path().filename();
        std::string values = Get(file.path());
        values.pop_back();
        for (auto at = values.find('|'); at != values.npos;
             at = values.find('|', at + 3)) {
          values.replace(at, 1, " | ");
        }
        const std::string line = "  " + table + id + ": " + values + "\n";
        const auto& printed = table == "services/" ? end : output;
        EXPECT_NE(output.npos, printed.find(line)) << line;
      }
    }
    EXPECT_NE("", List("kiv/database/accounts"));
    if (accounts.empty()) accounts = List("kiv/database/accounts");
    EXPECT_EQ(accounts, List("kiv/database/accounts")) << "each once";
    EXPECT_EQ("ssh|22|tcp|yes|", Get("kiv/database/services/2"));
    EXPECT_EQ("banner|welcome|", Get("kiv/database/settings/4"));
    EXPECT_EQ("database|7|", Get("kiv/database/settings/1"));
    EXPECT_EQ("accounts protocols services settings ", List("kiv/schema"));
    EXPECT_EQ(List("kiv/schema"), List("kiv/database"));
  }
}

}  // namespace KivDB
