// Creating a database from a creation file.

#include "test_util.h"

namespace KivDB {
namespace {

class CreateTest : public CRootTest {
 protected:
  CreateTest() {
    EXPECT_EQ(kNoSchemaDirectory, m_database.open(m_root.c_str()));
  }

  int Create(const std::string& ini, int id = 0, const char* host = nullptr) {
    m_ini = PutFile("creation.ini", ini);
    TakeLines();
    return m_database.Create(m_ini.c_str(), id, host);
  }

  std::string m_ini;
  CKivDatabase m_database;
};

TEST_F(CreateTest, MakesTablesAndTheirFirstRecords) {
  EXPECT_EQ(kOk, Create("[first]\nschema = id[int]\n"
                        "[hosts]\nschema = id[int]|name[varchar]|port[int]\n"
                        "rec_1 = 1, {{$kivhost}}, 80\n"
                        "rec_2 = 5,v{{$kivversion}}-{{$kivid}}-{{$kivid}},2\n"
                        "rec_4 = 4,after a gap,4\n"
                        "[empty]\nschema = id[int]\n",
                        -5, ""));
  EXPECT_EQ((Names{"empty", "hosts"}), ListFiles("kiv/schema"));
  EXPECT_EQ((Names{"empty", "hosts"}), ListFiles("kiv/database"));
  EXPECT_EQ((Names{"1", "5"}), ListFiles("kiv/database/hosts"));
  EXPECT_EQ("127.0.0.1|80|", GetFile("kiv/database/hosts/1"));
  EXPECT_EQ("v1.0--5--5|2|", GetFile("kiv/database/hosts/5"));
  EXPECT_EQ(0700,
            static_cast<int>(fs::status(Path("kiv/schema")).permissions()));
  EXPECT_EQ(nullptr, m_database.GetTable("hosts")) << "created on disk only";
  EXPECT_EQ(kOk, m_database.open());
  EXPECT_EQ(2, m_database.GetTable("hosts")->records());

  EXPECT_EQ(kOk, Create("[first]\n[hosts]\nschema = id[int]|x[int]\n"
                        "rec_1 = 1,{{$kivid}}{{$kivhost}}\n",
                        0, "h"));
  EXPECT_EQ("1h|", GetFile("kiv/database/hosts/1"));
  EXPECT_EQ("v1.0--5--5|2|", GetFile("kiv/database/hosts/5"));
}

TEST_F(CreateTest, StopsAtTheFirstBadSectionAndKeepsTheTablesBefore) {
  const std::string start =
      "[first]\n[good]\nschema = id[int]|a[int]\nrec_1 = 1,1\n";
  const std::string end = "[after]\nschema = id[int]\n";
  const std::string big(4000, 'x');
  const struct {
    std::string section;
    int status;
    Names schemas;
    Lines lines;  // "%" stands for the root
  } kSections[] = {
      {"[bad]\nrec_1 = 1\n", kNoRecord, {"good"}, {}},
      {"[bad]\nschema = \n", kNoRecord, {"good"}, {}},
      {"[bad]\nschema = id[int]|a[int]\nrec_1 = 2\n",
       kSyntax,
       {"bad", "good"},
       {"error 11: record's syntax error "}},
      {"[../bad]\nschema = id[int]\n",
       kSchemaUnreadable,
       {"good"},
       {"error 4: failed to create schema file: %/kiv/schema/../bad"}},
      {"[bad]\nschema = |\nrec_1 = 1,1\n",
       kSyntax,
       {"bad", "good"},
       {"error 11: record's syntax error "}},
      {"[bad]\nschema = id[int]|a[varchar]\nrec_1 = 1," + big +
           "{{$kivhost}}{{$kivhost}}\n",
       kNoReplacement,
       {"bad", "good"},
       {"error 19: Unable to replace {{$kivhost}}"}},
  };
  const std::string host(60, 'h');
  for (const auto& c : kSections) {
    SCOPED_TRACE(c.section.substr(0, 60));
    fs::remove_all(Path("kiv"));
    EXPECT_EQ(c.status, Create(start + c.section + end, 1, host.c_str()));
    Lines lines = c.lines;
    for (auto& line : lines) line = WithRoot(line);
    EXPECT_EQ(lines, TakeLines());
    EXPECT_EQ(c.schemas, ListFiles("kiv/schema"));
    EXPECT_EQ("1|", GetFile("kiv/database/good/1"));
  }
}

TEST_F(CreateTest, RefusesFilesThatHoldNoDatabase) {
  EXPECT_EQ(kInvalid, m_database.Create(nullptr, 1, nullptr));
  EXPECT_EQ(Lines{"error 20: invalid parameter"}, TakeLines());
  const std::string none = Path("none.ini");
  EXPECT_EQ(kInvalid, m_database.Create(none.c_str(), 1, nullptr));
  EXPECT_EQ(Lines{"error 20: can't find ini file at [" + none + "]"},
            TakeLines());
  EXPECT_EQ((Names{}), ListFiles(""));
  EXPECT_EQ(kNoRecord, Create(""));
  EXPECT_EQ(Lines{"error 12: Can't get value [" + m_ini + "]"}, TakeLines());
  EXPECT_EQ(kNoRecord, m_database.Create(m_root.c_str(), 1, nullptr));
  EXPECT_EQ(kOk, Create("[only]\nschema = id[int]\n"));
  EXPECT_EQ(Names{}, ListFiles("kiv/schema"));

  fs::remove_all(Path("kiv"));
  PutFile("kiv", "in the way");
  EXPECT_EQ(kInvalid, Create("[first]\n"));
  EXPECT_EQ(Lines{"error 20: Create Tree [" + Path("kiv/schema") + "] failed"},
            TakeLines());
  CKivDatabase unset;
  EXPECT_EQ(kInvalid, unset.Create(m_ini.c_str(), 1, nullptr));
  EXPECT_EQ(Lines{"error 20: Kiv DB's path is NULL! Please try open(xxx)"},
            TakeLines());
}

// More names than the first buffer of the section list holds.
TEST_F(CreateTest, TakesAnyNumberOfTables) {
  std::string ini = "[first]\n";
  for (int i = 0; i < 300; ++i) {
    ini += "[table_with_a_long_name_" + std::to_string(i) +
           "]\nschema = id[int]\n";
  }
  EXPECT_EQ(kOk, Create(ini));
  EXPECT_EQ(300U, ListFiles("kiv/schema").size());
}

TEST_F(CreateTest, InsertsRecordsOnlyIntoATable) {
  const std::string ini = PutFile("a.ini", "[t]\nrec_1 = 1\n");
  TakeLines();
  ZelSetTrace(true);
  EXPECT_EQ(kNoSchema, m_database.insertRecordsFromIni("t", ini.c_str()));
  ZelSetTrace(false);
  EXPECT_EQ((Lines{"trace: insertRecordsFromIni: Insert record from table=t, "
                   "inifile=" +
                       ini,
                   "error 3: no such file [" + Path("kiv/schema/t") + "]",
                   "error 3: Can't get table"}),
            TakeLines());
  EXPECT_EQ(kInvalid, m_database.insertRecordsFromIni("t", nullptr));
}

}  // namespace
}  // namespace KivDB
