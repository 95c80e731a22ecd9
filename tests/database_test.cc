// The database object: opening, finding and adding tables.

#include "test_util.h"

namespace KivDB {

TEST_F(DatabaseTest, OpensTheTablesOfItsRoot) {
  Put("kiv/schema/new", "id[int]");
  EXPECT_EQ(kOk, m_database.open());
  EXPECT_EQ(nullptr, m_database.GetTable("new")) << "it was open";

  CKivDatabase fresh;
  EXPECT_EQ(kInvalid, fresh.open(""));
  EXPECT_EQ(kInvalid, fresh.open(static_cast<const char*>(nullptr)));
  const std::string line = "E20 Kiv DB's path is NULL! Please try open(xxx)\n";
  EXPECT_EQ(line + line, Log());
  EXPECT_EQ(kNoSchemaDirectory, fresh.open("none"));
  EXPECT_EQ("", Log());
  Put("kiv/schema/bad", "");
  EXPECT_EQ(kEmptySchema, fresh.open("./"));
  Put("kiv/schema/bad", "id[int]");
  EXPECT_EQ(kOk, fresh.open()) << "goes on";
  EXPECT_NE(nullptr, fresh.GetTable("bad"));
  EXPECT_EQ(nullptr, fresh.GetTable("A"));
  EXPECT_EQ(nullptr, fresh.GetTable(nullptr));
  for (const char* name : {"a", "b", "c"}) {
    EXPECT_EQ(kOk, fresh.DropTable(name));
    EXPECT_EQ(nullptr, fresh.GetTable(name)) << "registered once";
  }
}

TEST_F(DatabaseTest, TakesItsRootFromTheConfiguration) {
  Put("ini", "[StorageDatabase]\nPath = " + m_root);
  ConfigClass config("ini");
  Put("empty", "[StorageDatabase]\nPath =");
  CKivDatabase fresh;
  for (const char* ini : {"none", "empty"}) {
    ConfigClass without(ini);
    EXPECT_EQ(kInvalid, fresh.open(&without));
  }
  EXPECT_EQ(kInvalid, fresh.open(static_cast<ConfigClass*>(nullptr)));
  EXPECT_EQ(
      "E20 can't find StorageDatabase Path from [none]\n"
      "E20 can't find StorageDatabase Path from [empty]\n"
      "E20 invalid parameter\n",
      Log());
  EXPECT_EQ(kOk, fresh.open(&config));
  EXPECT_NE(nullptr, fresh.GetTable("a"));
}

TEST_F(DatabaseTest, KeepsWhatAFailedOpeningFoundForTheSameRootOnly) {
  for (const char* table : {"A/kiv/schema/a", "A/kiv/schema/b"}) Put(table, "");
  Put("B/kiv/schema/own", "id[int]");
  Put("ini", "[StorageDatabase]\nPath = B");
  ConfigClass config("ini");
  for (const bool isConfigured : {true, false}) {
    CKivDatabase fresh;
    Put("A/kiv/schema/b", "");
    ASSERT_EQ(kEmptySchema, fresh.open("A"));
    ASSERT_EQ(kOk, fresh.AddTable("b", "id(int)"));
    ASSERT_EQ(kOk, fresh.GetTable("b")->getcolumn("id")->SetData("kept"));
    EXPECT_EQ(kEmptySchema, fresh.open("A"));
    EXPECT_STREQ("kept", fresh.GetTable("b")->getcolumn("id")->data());
    EXPECT_EQ(kOk, isConfigured ? fresh.open(&config) : fresh.open("B"));
    EXPECT_EQ(nullptr, fresh.GetTable("b"));
    EXPECT_EQ(kOk, fresh.open("A")) << "it was open";
    EXPECT_NE(nullptr, fresh.GetTable("own"));
  }
}

TEST_F(DatabaseTest, HasOneInstance) {
  CKivDatabase::Delete();
  EXPECT_EQ(kOk, CKivDatabase::Instance()->open(m_root.c_str()));
  EXPECT_NE(nullptr, CKivDatabase::Instance()->GetTable("a"));
  CKivDatabase::Delete();
  EXPECT_EQ(kInvalid, CKivDatabase::Instance()->open());
  CKivDatabase::Delete();
  CKivDatabase::Delete();
}

TEST_F(DatabaseTest, AddsATableFromADescription) {
  const Case kColumns[] = {
      {"id ( int ) ,\tname(varchar),", kOk, "id[int]|name[varchar]"},
      {"id(int", kOk, "id[int]"},
      {"id(int)x,int,int", kOk, "id[int]|int[int]|int[int]"},
      {"id(INT)", kUnknownType, "(none)"},
      {"id(bigint)", kUnknownType, "(none)"},
      {"a)b(int)", kUnknownType, "(none)"},
      {"id(int),,b(int)", kUnknownType, "(none)"},
      {"id(int),(int)", kSyntax, "(none)"},
      {")id(int)", kSyntax, "(none)"},
      {"", kEmptySchema, "", "I5 schema length is 0\nE0 open table error\n"}};
  for (const Case& c : kColumns) {
    const std::string name = "new " + c.in.substr(0, 12);
    EXPECT_EQ(c.status, m_database.AddTable(name.c_str(), c.in.c_str()));
    EXPECT_EQ(c.log, Log()) << c.in;
    EXPECT_EQ(c.status == kOk, m_database.GetTable(name.c_str()) != nullptr);
    const std::string file = Get("kiv/schema/" + name);
    EXPECT_EQ(c.out, file.substr(0, file.find('\n')));
    EXPECT_EQ(c.out != "(none)", fs::exists("kiv/database/" + name));
  }
  Put("kiv/schema/a", std::string(200, 'z'));
  EXPECT_EQ(kOk, m_database.createSchemaF("a", "id[int]|x[int]"));
  EXPECT_EQ("id[int]|x[int]\n69db9acfb8971e66", Get("kiv/schema/a"));
  EXPECT_EQ(kInvalid, m_database.AddTable("d", nullptr));
  EXPECT_EQ(kInvalid, m_database.AddTable("a", "("));
  EXPECT_EQ("E20 invalid parameter\nE20 table [a] already exist\n", Log());
}

TEST_F(DatabaseTest, MakesNothingForWhatIsNoTableName) {
  for (const std::string name : {"", ".", "..", "x/y", "../x", "../schema/x"}) {
    EXPECT_EQ(kSchemaUnreadable, m_database.AddTable(name.c_str(), "id(int)"));
    EXPECT_EQ("E4 failed to create schema file: %/kiv/schema/" + name +
                  "\nE4 creat schema error [" + name + "]\n",
              Log());
    EXPECT_EQ(kOk, m_database.createTableF(name.c_str()));
  }
  EXPECT_EQ("database schema ", List("kiv"));
  EXPECT_EQ("a b c a b c ", List("kiv/database") + List("kiv/schema"));
  EXPECT_EQ(kInvalid, m_database.createSchemaF("t", nullptr));
  ASSERT_EQ(0, mkfifo("kiv/schema/fifo", 0600));
  EXPECT_EQ(kSchemaUnreadable, m_database.AddTable("fifo", "id(int)"));
}

TEST_F(DatabaseTest, AddsATableFromAnIniSection) {
  Put("ini", "[d]\nschema=id[int]|n[bigint]\n[e]\nschema=\n");
  EXPECT_EQ(kOk, m_database.CheckAddTable("d", "ini"));
  EXPECT_EQ(0U, Get("kiv/schema/d").find("id[int]|n[bigint]\n"));
  EXPECT_EQ(kOk, m_database.CheckAddTable("d", "/none"));
  EXPECT_EQ("", Log());
  EXPECT_EQ(kNoRecord, m_database.CheckAddTable("e", "ini"));
  EXPECT_EQ(kInvalid, m_database.CheckAddTable("e", nullptr));
  EXPECT_EQ(
      "E12 Can't get table [e] schema information from inifile [ini]\n"
      "E20 invalid parameter\n",
      Log());
  EXPECT_EQ("a b c d ", List("kiv/schema"));
}

}  // namespace KivDB
