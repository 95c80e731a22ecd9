// The database object: opening, finding and adding tables.

#include <thread>

#include "test_util.h"

namespace KivDB {
namespace {

// With an empty root, set and not opened.
class DatabaseTest : public CRootTest {
 protected:
  DatabaseTest() {
    fs::create_directories(Path("kiv/schema"));
    fs::create_directories(Path("kiv/database"));
    EXPECT_EQ(kOk, m_database.open(m_root.c_str()));
  }
  CKivDatabase m_database;
};

TEST_F(DatabaseTest, OpensTheTablesOfItsRoot) {
  PutFile("kiv/schema/hosts", "id[int]");
  PutFile("kiv/schema/users", "id[int]");
  EXPECT_EQ(kOk, m_database.open()) << "it is open and does not look again";
  EXPECT_EQ(nullptr, m_database.GetTable("hosts"));

  CKivDatabase fresh;
  EXPECT_EQ(kInvalid, fresh.open());
  EXPECT_EQ(Lines{"error 20: Kiv DB's path is NULL! Please try open(xxx)"},
            TakeLines());
  EXPECT_EQ(kInvalid, fresh.open(static_cast<const char*>(nullptr)));
  EXPECT_EQ(kInvalid, fresh.open(""));
  TakeLines();
  EXPECT_EQ(kNoSchemaDirectory, fresh.open(Path("none").c_str()));
  EXPECT_EQ(Lines{}, TakeLines());
  EXPECT_EQ(kOk, fresh.open((m_root + "/").c_str()));
  EXPECT_NE(nullptr, fresh.GetTable("hosts"));
  EXPECT_NE(nullptr, fresh.GetTable("users"));
  EXPECT_EQ(nullptr, fresh.GetTable("Hosts"));
  EXPECT_EQ(nullptr, fresh.GetTable(nullptr));
}

TEST_F(DatabaseTest, GoesOnAfterAFailedOpening) {
  for (const char* name : {"a", "b", "c", "d"}) {
    PutFile(std::string("kiv/schema/") + name, "id[int]");
  }
  PutFile("kiv/schema/bad", "");
  CKivDatabase fresh;
  EXPECT_EQ(kEmptySchema, fresh.open(m_root.c_str()));
  std::vector<CTable*> registered;
  for (const char* name : {"a", "b", "c", "d"}) {
    registered.push_back(fresh.GetTable(name));
  }
  PutFile("kiv/schema/bad", "id[int]");
  EXPECT_EQ(kOk, fresh.open());
  EXPECT_NE(nullptr, fresh.GetTable("bad"));
  for (std::size_t i = 0; i < registered.size(); ++i) {
    const std::string name(1, static_cast<char>('a' + i));
    ASSERT_NE(nullptr, fresh.GetTable(name.c_str()));
    if (registered[i] != nullptr) {
      EXPECT_EQ(registered[i], fresh.GetTable(name.c_str()));
    }
  }
}

TEST_F(DatabaseTest, TakesItsRootFromTheConfiguration) {
  ConfigClass config(
      PutFile("host.ini", "[StorageDatabase]\nPath = " + m_root).c_str());
  PutFile("kiv/schema/hosts", "id[int]");
  CKivDatabase fresh;
  EXPECT_EQ(kOk, fresh.open(&config));
  EXPECT_NE(nullptr, fresh.GetTable("hosts"));
  const std::string other = PutFile("other.ini", "[StorageDatabase]\n");
  ConfigClass without(other.c_str());
  EXPECT_EQ(kInvalid, fresh.open(&without));
  EXPECT_EQ(kInvalid, fresh.open(static_cast<ConfigClass*>(nullptr)));
  EXPECT_EQ(
      (Lines{"error 20: can't find StorageDatabase Path from [" + other + "]",
             "error 20: invalid parameter"}),
      TakeLines());
}

TEST_F(DatabaseTest, HasOneInstance) {
  CKivDatabase::Delete();
  std::vector<std::thread> threads;
  std::vector<CKivDatabase*> seen(4);
  for (auto& one : seen) {
    threads.emplace_back([&one] { one = CKivDatabase::Instance(); });
  }
  for (auto& thread : threads) thread.join();
  for (const auto* one : seen) EXPECT_EQ(CKivDatabase::Instance(), one);
  EXPECT_EQ(kOk, seen[0]->open(m_root.c_str()));
  CKivDatabase::Delete();
  EXPECT_EQ(kInvalid, CKivDatabase::Instance()->open());
  CKivDatabase::Delete();
  CKivDatabase::Delete();
}

TEST_F(DatabaseTest, AddsATableFromADescription) {
  const struct {
    const char* columns;
    int status;
    const char* schema;  // the first line of the file; null: no file
  } kColumns[] = {
      {"id ( int ) ,\tname(varchar)", kOk, "id[int]|name[varchar]"},
      {"first name(varchar),", kOk, "firstname[varchar]"},
      {"id(int", kOk, "id[int]"},
      {"id(int)x", kOk, "id[int]"},
      {"int,varchar", kOk, "int[int]|varchar[varchar]"},
      {"a(int),a(int)", kOk, "a[int]|a[int]"},
      {"word", kUnknownType, nullptr},
      {"id(INT)", kUnknownType, nullptr},
      {"id(bigint)", kUnknownType, nullptr},
      {"a)b(int)", kUnknownType, nullptr},
      {"id(int),,b(int)", kUnknownType, nullptr},
      {"id(int),(int)", kSyntax, nullptr},
      {")id(int)", kSyntax, nullptr},
      {nullptr, kInvalid, nullptr},
      {" ", kEmptySchema, ""},
  };
  int n = 0;
  for (const auto& c : kColumns) {
    SCOPED_TRACE(c.columns ? c.columns : "null");
    const std::string name = "t" + std::to_string(n++);
    TakeLines();
    EXPECT_EQ(c.status, m_database.AddTable(name.c_str(), c.columns));
    EXPECT_EQ(c.status == kOk, m_database.GetTable(name.c_str()) != nullptr);
    const std::string file = GetFile("kiv/schema/" + name);
    EXPECT_EQ(c.schema ? c.schema : "(no file)",
              file.substr(0, file.find('\n')));
    EXPECT_EQ(c.schema != nullptr, fs::exists(Path("kiv/database/" + name)));
  }
  EXPECT_EQ((Lines{"info 5: schema length is 0", "error 0: open table error"}),
            TakeLines());
  EXPECT_EQ(kInvalid, m_database.AddTable("t0", "("));
  EXPECT_EQ(Lines{"error 20: table [t0] already exist"}, TakeLines());
}

TEST_F(DatabaseTest, MakesNothingForWhatIsNoTableName) {
  fs::remove_all(Path("kiv/database"));
  fs::create_directory(Path("kiv/database"));
  for (const char* name : {"", ".", "..", "a/b", "../x", "schema/../x"}) {
    TakeLines();
    EXPECT_EQ(kSchemaUnreadable, m_database.AddTable(name, "id(int)"));
    EXPECT_EQ(
        (Lines{"error 4: failed to create schema file: " + Path("kiv/schema/") +
                   name,
               "error 4: creat schema error [" + std::string(name) + "]"}),
        TakeLines());
    EXPECT_EQ(kOk, m_database.createTableF(name));
  }
  EXPECT_EQ((Names{"database", "schema"}), ListFiles("kiv"));
  EXPECT_EQ(Names{}, ListFiles("kiv/database"));
  EXPECT_EQ(kInvalid, m_database.createSchemaF("t", nullptr));
}

TEST_F(DatabaseTest, AddsATableFromAnIniSection) {
  const std::string ini =
      PutFile("host.ini",
              "[hosts]\nschema = id[int]|size[bigint]\n[bad]\nschema=x\n"
              "[worse]\nschema = \n");
  EXPECT_EQ(kOk, m_database.CheckAddTable("hosts", ini.c_str()));
  EXPECT_EQ(0U, GetFile("kiv/schema/hosts").find("id[int]|size[bigint]\n"));
  EXPECT_EQ(kOk, m_database.CheckAddTable("hosts", "/none"));
  EXPECT_EQ(kOk, m_database.CheckAddTable("bad", ini.c_str()));
  EXPECT_EQ(Lines{}, TakeLines());
  EXPECT_EQ(kNoRecord, m_database.CheckAddTable("worse", ini.c_str()));
  EXPECT_EQ(Lines{"error 12: Can't get table [worse] schema information from "
                  "inifile [" +
                  ini + "]"},
            TakeLines());
  EXPECT_EQ(kInvalid, m_database.CheckAddTable("new", nullptr));
  EXPECT_EQ((Names{"bad", "hosts"}), ListFiles("kiv/schema"));
}

}  // namespace
}  // namespace KivDB
