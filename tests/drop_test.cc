// Dropping tables and the database, and database recovery.

#include "test_util.h"

namespace KivDB {
namespace {

// With the tables a, b and c, each with a column id and a column x.
class DropTest : public CRootTest {
 protected:
  DropTest() {
    fs::create_directories(Path("kiv/schema"));
    fs::create_directories(Path("kiv/database"));
    EXPECT_EQ(kOk, m_database.open(m_root.c_str()));
    for (const char* name : {"a", "b", "c"}) {
      EXPECT_EQ(kOk, m_database.AddTable(name, "id(int),x(int)"));
    }
  }
  CKivDatabase m_database;
};

TEST_F(DropTest, DropsATableThatIsEmpty) {
  EXPECT_EQ(kOk, m_database.DropTable("b"));
  EXPECT_EQ(nullptr, m_database.GetTable("b"));
  EXPECT_NE(nullptr, m_database.GetTable("a"));
  EXPECT_NE(nullptr, m_database.GetTable("c"));
  EXPECT_EQ((Names{"a", "c"}), ListFiles("kiv/schema"));
  EXPECT_EQ((Names{"a", "c"}), ListFiles("kiv/database"));
  EXPECT_EQ(kNotFound, m_database.DropTable("b"));
  EXPECT_EQ(Lines{"error 14: table b does not exist"}, TakeLines());
  EXPECT_EQ(kOk, m_database.AddTable("b", "id(int)"));

  EXPECT_EQ(kOk, m_database.DropTable(m_database.GetTable("c")));
  EXPECT_NE(nullptr, m_database.GetTable("c")) << "still registered";
}

TEST_F(DropTest, RefusesATableThatIsNot) {
  const struct {
    const char* entry;  // in a's directory, which is removed for null
    int status;
    Lines lines;  // "%" stands for the root
  } kEntries[] = {
      {"1",
       kNotEmpty,
       {"error 14: the table is not empty", "error 14: can't drop table [a]"}},
      {"1.tmp",
       kNotEmpty,
       {"error 14: the table is not empty", "error 14: can't drop table [a]"}},
      {"3.ADD",
       kInvalid,
       {"error 16: invalid record name found: 3.ADD.",
        "error 20: can't rmdir [%/kiv/database/a], reason [Directory not "
        "empty]",
        "error 20: can't drop table [a]"}},
      {nullptr,
       kNotEmpty,
       {"error 14: the table is not empty", "error 14: can't drop table [a]"}},
  };
  for (const auto& c : kEntries) {
    fs::remove_all(Path("kiv/database/a"));
    if (c.entry != nullptr) {
      PutFile(std::string("kiv/database/a/") + c.entry, "1|");
    }
    TakeLines();
    EXPECT_EQ(c.status, m_database.DropTable("a"));
    Lines lines = c.lines;
    for (auto& line : lines) line = WithRoot(line);
    EXPECT_EQ(lines, TakeLines());
    EXPECT_NE(nullptr, m_database.GetTable("a"));
    EXPECT_TRUE(fs::exists(Path("kiv/schema/a")));
  }
  EXPECT_EQ(kInvalid, m_database.DropTable(static_cast<CTable*>(nullptr)));
  EXPECT_EQ(Lines{"error 20: parameter null"}, TakeLines());
  CTable none;
  EXPECT_EQ(kNotEmpty, m_database.DropTable(&none));
  fs::remove(Path("kiv/schema/b"));
  TakeLines();
  EXPECT_EQ(kInvalid, m_database.DropTable("b"));
  EXPECT_EQ((Lines{WithRoot("error 20: can't unlink [%/kiv/schema/b], reason "
                            "[No such file or directory]"),
                   "error 20: can't drop table [b]"}),
            TakeLines());
  EXPECT_FALSE(fs::exists(Path("kiv/database/b")));
}

TEST_F(DropTest, DropsEverythingAndFollowsNoLink) {
  for (const char* file : {"a/1", "a/2.tmp", "a/3.ADD", "b/1", "other/sub/x"}) {
    PutFile(std::string("kiv/database/") + file, "1|");
  }
  PutFile("outside/precious", "x");
  fs::create_directory_symlink(Path("outside"), Path("kiv/database/a/link"));
  fs::create_directory_symlink(Path("outside"), Path("kiv/database/link"));
  EXPECT_EQ(kOk, m_database.drop());
  EXPECT_EQ(Names{"outside"}, ListFiles(""));
  EXPECT_EQ("x", GetFile("outside/precious"));
  EXPECT_EQ(nullptr, m_database.GetTable("a"));
  EXPECT_EQ(kOk, m_database.open()) << "it counts as open";
  TakeLines();
  EXPECT_EQ(kInvalid, m_database.drop());
  EXPECT_EQ(Lines{WithRoot("error 20: can delete dir [%/kiv/schema] reason [No "
                           "such file or directory]")},
            TakeLines());
  CKivDatabase unset;
  EXPECT_EQ(kInvalid, unset.drop());
}

TEST_F(DropTest, StopsAtATableThatCannotBeDropped) {
  PutFile("kiv/database/b/1", "1|");
  PutFile("kiv/database/b/sub/x", "");
  PutFile("kiv/database/c/1", "1|");
  EXPECT_EQ(kNotEmpty, m_database.drop());
  EXPECT_EQ((Lines{"error 14: the table is not empty",
                   "error 14: can't Drop table [b]"}),
            TakeLines());
  EXPECT_EQ(nullptr, m_database.GetTable("a"));
  EXPECT_NE(nullptr, m_database.GetTable("b"));
  EXPECT_EQ(Names{"sub"}, ListFiles("kiv/database/b"));
  EXPECT_EQ(Names{"1"}, ListFiles("kiv/database/c"));
  fs::remove_all(Path("kiv/database/b"));
  EXPECT_EQ(kNotClearable, m_database.drop());
  EXPECT_EQ(Lines{"error 17: can't clear talbe [b]"}, TakeLines());
}

TEST_F(DropTest, RecoversTableByTable) {
  for (const char* name : {"a", "b", "c"}) {
    PutFile(std::string("kiv/database/") + name + "/1.ADD", "");
  }
  fs::rename(Path("kiv/database/b"), Path("away"));
  EXPECT_EQ(kNotFound, m_database.recover());
  EXPECT_EQ(Names{}, ListFiles("kiv/database/a"));
  EXPECT_EQ(Names{"1.ADD"}, ListFiles("kiv/database/c"));
  fs::rename(Path("away"), Path("kiv/database/b"));
  EXPECT_EQ(kOk, m_database.recover());
  EXPECT_EQ(Names{}, ListFiles("kiv/database/b"));
  EXPECT_EQ(Names{}, ListFiles("kiv/database/c"));
  EXPECT_EQ(Lines{}, TakeLines());
  CKivDatabase none;
  EXPECT_EQ(kOk, none.recover());
}

}  // namespace
}  // namespace KivDB
