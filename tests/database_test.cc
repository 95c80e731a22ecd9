// The database object: opening, finding and adding tables.

#include <thread>

#include "test_util.h"

namespace KivDB {

std::string Fingerprint(const std::string& text) {
  char out[65];
  FingerprintFromData(text.data(), text.size(), out, sizeof(out), 3);
  return out;
}

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
  ConfigClass without("none");
  CKivDatabase fresh;
  EXPECT_EQ(kInvalid, fresh.open(&without));
  EXPECT_EQ(kInvalid, fresh.open(static_cast<ConfigClass*>(nullptr)));
  EXPECT_EQ(
      "E20 can't find StorageDatabase Path from [none]\nE20 invalid "
      "parameter\n",
      Log());
  Put("ini2", "[StorageDatabase]\nPath =");
  ConfigClass empty("ini2");
  EXPECT_EQ(kInvalid, fresh.open(&empty));
  EXPECT_EQ("E20 can't find StorageDatabase Path from [ini2]\n", Log());
  EXPECT_EQ(kOk, fresh.open(&config));
  EXPECT_NE(nullptr, fresh.GetTable("a"));
}

TEST_F(DatabaseTest, KeepsWhatAFailedOpeningFoundForTheSameRootOnly) {
  Put("A/kiv/schema/good", "id[int]");
  Put("A/kiv/schema/zzz", "");
  Put("B/kiv/schema/own", "id[int]");
  Put("A/kiv/database/good/1", "x");
  Put("ini", "[StorageDatabase]\nPath = B");
  ConfigClass config("ini");
  for (const bool isConfigured : {true, false}) {
    CKivDatabase fresh;
    ASSERT_EQ(kEmptySchema, fresh.open("A"));
    fresh.AddTable("good", "id(int)");  // where the bad one came first
    const CTable* good = fresh.GetTable("good");
    ASSERT_NE(nullptr, good);
    EXPECT_EQ(kEmptySchema, fresh.open("A"));
    EXPECT_EQ(good, fresh.GetTable("good"));
    EXPECT_EQ(kOk, isConfigured ? fresh.open(&config) : fresh.open("B"));
    EXPECT_EQ(nullptr, fresh.GetTable("good"));
    EXPECT_NE(nullptr, fresh.GetTable("own"));
    EXPECT_EQ(kOk, fresh.open("A")) << "it was open";
    EXPECT_NE(nullptr, fresh.GetTable("own"));
  }
  EXPECT_EQ("x", Get("A/kiv/database/good/1"));
}

TEST_F(DatabaseTest, HasOneInstance) {
  CKivDatabase::Delete();
  CKivDatabase* seen = nullptr;
  std::thread([&] { seen = CKivDatabase::Instance(); }).join();
  EXPECT_EQ(CKivDatabase::Instance(), seen);
  EXPECT_EQ(kOk, seen->open(m_root.c_str()));
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
  EXPECT_EQ("id[int]|x[int]\n" + Fingerprint("id[int]|x[int]"),
            Get("kiv/schema/a"));
  EXPECT_EQ("666 775", Mode("kiv/schema/a") + " " + Mode("kiv/database/a"));
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
