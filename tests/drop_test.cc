// Dropping tables and the database, and database recovery.

#include "test_util.h"

namespace KivDB {

TEST_F(DatabaseTest, DropsATableThatIsEmpty) {
  EXPECT_EQ(kOk, m_database.DropTable("b"));
  EXPECT_EQ(nullptr, m_database.GetTable("b"));
  EXPECT_EQ("a c a c ", List("kiv/schema") + List("kiv/database"));
  EXPECT_EQ(kNotFound, m_database.DropTable("b"));
  EXPECT_EQ("E14 table b does not exist\n", Log());

  EXPECT_EQ(kOk, m_database.DropTable(m_database.GetTable("c")));
  EXPECT_EQ("a a ", List("kiv/schema") + List("kiv/database"));
  EXPECT_NE(nullptr, m_database.GetTable("c")) << "still registered";
}

TEST_F(DatabaseTest, RefusesATableThatIsNot) {
  const std::string full =
      "E14 the table is not empty\nE14 can't drop table [a]\n";
  const std::string marked =
      "E16 invalid record name found: 3.ADD.\n"
      "E20 can't rmdir [%/kiv/database/a], reason [Directory not empty]\n"
      "E20 can't drop table [a]\n";
  const Case kEntries[] = {{"a/1", kNotEmpty, "", full},
                           {"a/1.tmp", kNotEmpty, "", full},
                           {"a/3.ADD", kInvalid, "", marked},
                           {"no directory", kNotEmpty, "", full}};
  for (const Case& c : kEntries) {
    fs::remove_all("kiv/database/a");
    Put("kiv/database/" + c.in, "1|");
    EXPECT_EQ(c.status, m_database.DropTable("a"));
    EXPECT_EQ(c.log, Log());
    EXPECT_NE(nullptr, m_database.GetTable("a"));
    EXPECT_TRUE(fs::exists("kiv/schema/a"));
  }
  EXPECT_EQ(kInvalid, m_database.DropTable(static_cast<CTable*>(nullptr)));
  fs::remove("kiv/schema/b");
  EXPECT_EQ(kInvalid, m_database.DropTable("b"));
  EXPECT_EQ(
      "E20 parameter null\n"
      "E20 can't unlink [%/kiv/schema/b], reason [No such file or directory]\n"
      "E20 can't drop table [b]\n",
      Log());
}

TEST_F(DatabaseTest, DropsEverythingAndFollowsNoLink) {
  for (const std::string file : {"a/1", "a/2.tmp", "a/3.ADD", "other/sub/x"}) {
    Put("kiv/database/" + file, "1|");
  }
  Put("outside/precious", "x");
  fs::create_directory_symlink(m_root + "/outside", "kiv/database/a/link");
  fs::create_directory_symlink(m_root + "/outside", "kiv/database/link");
  EXPECT_EQ(kOk, m_database.drop());
  EXPECT_EQ("outside precious ", List(".") + List("outside"));
  EXPECT_EQ(nullptr, m_database.GetTable("a"));
  EXPECT_EQ(kOk, m_database.open()) << "it counts as open";
  EXPECT_EQ(kInvalid, m_database.drop());
  EXPECT_EQ(kInvalid, CKivDatabase().drop());
  EXPECT_EQ(
      "E20 can delete dir [%/kiv/schema] reason [No such file or directory]\n"
      "E20 Kiv DB's path is NULL! Please try open(xxx)\n",
      Log());
}

// The path of the data directory, of table t's and none is cut below such
// roots. Cut, it would be that of the root.
TEST_F(DatabaseTest, RefusesToDropBelowARootThatIsTooLong) {
  for (const std::size_t length : {4093U, 4080U, 4079U}) {
    const std::string root = LongRoot(length);
    fs::current_path(root);
    for (const char* file : {"precious", "kiv/database/t/1"}) Put(file, "x");
    Put("kiv/schema/t", "id[int]");
    CKivDatabase database;
    database.open(root.c_str());
    Log();
    EXPECT_EQ(length == 4079 ? kOk : kInvalid, database.drop());
    const auto reason =
        Log().find(std::string("] reason [") + strerror(ENAMETOOLONG) + "]\n");
    EXPECT_EQ(length == 4079, reason == std::string::npos);
    EXPECT_EQ("x", Get("precious"));
    EXPECT_EQ(length == 4079 ? "(none)" : "x", Get("kiv/database/t/1"));
    fs::current_path(m_root);
  }
}

TEST_F(DatabaseTest, StopsAtATableThatCannotBeDropped) {
  for (const std::string file : {"b/1", "b/sub/x", "c/1"}) {
    Put("kiv/database/" + file, "1|");
  }
  EXPECT_EQ(kNotEmpty, m_database.drop());
  EXPECT_EQ(nullptr, m_database.GetTable("a"));
  EXPECT_EQ("b c ", List("kiv/database"));
  EXPECT_EQ("sub 1 ", List("kiv/database/b") + List("kiv/database/c"));
  fs::remove_all("kiv/database/b");
  EXPECT_EQ(kNotClearable, m_database.drop());
  EXPECT_EQ(
      "E14 the table is not empty\nE14 can't Drop table [b]\n"
      "E17 can't clear talbe [b]\n",
      Log());
}

TEST_F(DatabaseTest, RecoversTableByTable) {
  Put("kiv/database/a/1.ADD", "");
  Put("kiv/database/c/1.ADD", "");
  fs::remove("kiv/database/b");
  EXPECT_EQ(kNotFound, m_database.recover());
  EXPECT_EQ("1.ADD ", List("kiv/database/a") + List("kiv/database/c"));
  fs::create_directory("kiv/database/b");
  EXPECT_EQ(kOk, m_database.recover());
  EXPECT_EQ("", List("kiv/database/c") + Log());
}

}  // namespace KivDB
