// Creating a database from a creation file.

#include "test_util.h"

namespace KivDB {

class CreateTest : public DatabaseTest {
 protected:
  int Create(const std::string& text, int id = 0, const char* host = nullptr) {
    fs::remove_all("kiv");
    Put("ini", text);
    return m_database.Create("ini", id, host);
  }
};

TEST_F(CreateTest, MakesTablesAndTheirFirstRecords) {
  for (const char* host : {"", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(kInvalid, m_database.Create("none", 1, "a host for a moment"));
    EXPECT_EQ(kOk, Create("[first]\nschema = id[int]\n"
                          "[hosts]\nschema = id[int]|name[varchar]|port[int]\n"
                          "rec_1 = 1, {{$kivhost}}, 80\n"
                          "rec_2 = 5,v{{$kivversion}}-{{$kivid}}-{{$kivid}},2\n"
                          "rec_4 = 4,after a gap,4\n"
                          "[empty]\nschema = id[int]\n",
                          -5, host));
    EXPECT_EQ("127.0.0.1|80|", Get("kiv/database/hosts/1"));
  }
  EXPECT_EQ("empty hosts ", List("kiv/schema"));
  EXPECT_EQ(List("kiv/schema"), List("kiv/database"));
  EXPECT_EQ("1 5 ", List("kiv/database/hosts"));
  EXPECT_EQ("v1.0--5--5|2|", Get("kiv/database/hosts/5"));
  std::string modes;
  for (const char* file : {"", "/schema", "/database", "/schema/hosts",
                           "/database/hosts", "/database/hosts/1"}) {
    modes += Mode(std::string("kiv") + file) + " ";
  }
  EXPECT_EQ("700 700 700 666 775 640 ", modes);
  EXPECT_EQ(nullptr, m_database.GetTable("hosts")) << "created on disk only";
  const std::string host(1023, 'h');
  const std::pair<std::string, std::string> kHosts[] = {
      // with the record; the values are put in one after another
      {"h", "1h|"},
      {"{{$kivid}}{{$kivversion}}", "1{{$kivid}}1.0|"},
      {host + "cut", "1" + host + "|"}};
  for (const auto& [given, record] : kHosts) {
    EXPECT_EQ(kOk, Create("[first]\n[t]\nschema = id[int]|x[int]\n"
                          "rec_1 = 1,{{$kivid}}{{$kivhost}}\n",
                          0, given.c_str()));
    EXPECT_EQ(record, Get("kiv/database/t/1"));
  }
}

TEST_F(CreateTest, StopsAtTheFirstBadSectionAndKeepsTheTablesBefore) {
  const std::string big(4000, 'x');
  const std::string syntax = "E11 record's syntax error \n";
  const Case kSections[] = {
      // with the tables that there are then
      {"[bad]\nrec_1 = 1\n", kNoRecord, "good "},
      {"[bad]\nschema = \n", kNoRecord, "good "},
      {"[bad]\nschema=id[int]|a[int]\nrec_1=2", kSyntax, "bad good ", syntax},
      {"[bad]\nschema=|\nrec_1=1,1", kSyntax, "bad good ", syntax},
      {"[../bad]\nschema = id[int]\n", kSchemaUnreadable, "good ",
       "E4 failed to create schema file: %/kiv/schema/../bad\n"},
      {"[bad]\nschema=id[int]|a[int]\nrec_1=1," + big + "{{$kivhost}}",
       kNoReplacement, "bad good ", "E19 Unable to replace {{$kivhost}}\n"}};
  const std::string host(93, 'h');
  for (const Case& c : kSections) {
    const std::string good = "[1]\n[good]\nschema=id[int]|a[int]\nrec_1=1,1\n";
    const std::string after = "\n[after]\nschema = id[int]\n";
    EXPECT_EQ(c.status, Create(good + c.in + after, 1, host.c_str())) << c.in;
    EXPECT_EQ(c.log, Log());
    EXPECT_EQ(c.out, List("kiv/schema"));
    EXPECT_EQ("1|", Get("kiv/database/good/1"));
  }
}

TEST_F(CreateTest, RefusesFilesThatHoldNoDatabase) {
  EXPECT_EQ(kNoRecord, Create(""));
  EXPECT_EQ(kNoRecord, m_database.Create(".", 1, nullptr));
  EXPECT_EQ(kOk, Create("[only]\nschema = id[int]\n"));
  EXPECT_EQ("", List("kiv/schema"));
  fs::remove_all("kiv");
  EXPECT_EQ(kInvalid, m_database.Create(nullptr, 1, nullptr));
  EXPECT_EQ(kInvalid, m_database.Create("none", 1, nullptr));
  EXPECT_EQ(kInvalid, CKivDatabase().Create("ini", 1, nullptr));
  EXPECT_EQ("ini ", List("."));
  ZelSetTrace(true);
  EXPECT_EQ(kNoSchema, m_database.insertRecordsFromIni("t", "ini"));
  ZelSetTrace(false);
  EXPECT_EQ(kInvalid, m_database.insertRecordsFromIni("t", nullptr));
  Put("kiv", "in the way");
  EXPECT_EQ(kInvalid, m_database.Create("ini", 1, nullptr));
  EXPECT_EQ(
      "E12 Can't get value [ini]\nE12 Can't get value [.]\n"
      "E20 invalid parameter\nE20 can't find ini file at [none]\n"
      "E20 Kiv DB's path is NULL! Please try open(xxx)\n"
      "T0 insertRecordsFromIni: Insert record from table=t, inifile=ini\n"
      "E3 no such file [%/kiv/schema/t]\nE3 Can't get table\n"
      "E20 invalid parameter\n"
      "E20 Create Tree [%/kiv/schema] failed\n",
      Log());
}

// More names than the first buffer of the section list holds.
TEST_F(CreateTest, TakesAnyNumberOfTables) {
  std::string ini = "[first]\n";
  for (int i = 100; i < 400; ++i) {
    ini +=
        "[table_with_a_long_name_" + std::to_string(i) + "]\nschema=a[int]\n";
  }
  EXPECT_EQ(kOk, Create(ini));
  EXPECT_EQ(300U * 27, List("kiv/schema").size());
}

}  // namespace KivDB
