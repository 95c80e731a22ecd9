// Runs the example host and compares what it prints with what it leaves.

#include "test_util.h"

namespace KivDB {

TEST_F(RootTest, PrintsTheRecordsThatItLeaves) {
  std::string accounts;
  for (const char* run : {"first", "second"}) {
    SCOPED_TRACE(run);
    const std::string program = "'" KIVDB_HOST_PROGRAM "' '" KIVDB_EXAMPLES_DIR;
    ASSERT_EQ(0, system((program + "/appliance.ini' . >out 2>lines").c_str()));
    const std::string output = Get("out");
    const auto remain = output.find("The services that remain: 20\n");
    ASSERT_NE(output.npos, remain) << output;

    // Each record as a line "  table/id: value | value".
    for (const std::string table : {"services/", "accounts/", "settings/"}) {
      for (const auto& file : fs::directory_iterator("kiv/database/" + table)) {
        std::string line = "  " + table + file.path().filename().string() + ":";
        std::istringstream values(Get(file.path()));
        for (std::string value; std::getline(values, value, '|');) {
          line += (line.back() == ':' ? " " : " | ") + value;
        }
        EXPECT_NE(output.npos,
                  output.find(line + "\n", table == "services/" ? remain : 0));
      }
    }
    if (accounts.empty()) accounts = List("kiv/database/accounts");
    EXPECT_EQ(accounts, List("kiv/database/accounts")) << "each once";
    EXPECT_NE("", accounts);
    EXPECT_EQ("ssh|22|tcp|yes|", Get("kiv/database/services/2"));
    EXPECT_EQ("banner|welcome|", Get("kiv/database/settings/4"));
    EXPECT_EQ("database|7|", Get("kiv/database/settings/1"));
    EXPECT_EQ("accounts protocols services settings ", List("kiv/schema"));
    EXPECT_EQ(List("kiv/schema"), List("kiv/database"));
  }
}

}  // namespace KivDB
