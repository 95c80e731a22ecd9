// The table object, its schema, and the current record.

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "test_util.h"

namespace KivDB {
namespace {

using TableTest = CTableTest;

TEST_F(TableTest, LoadsTheSchemaUpToItsFirstBadSpec) {
  const std::string kBad = "info 1: invalid data type";
  const std::string kEmpty = "info 5: schema length is 0";
  const struct {
    std::string file;
    int status;
    const char* columns;
    Lines lines;
  } kSchemas[] = {
      {"id[int]|name[varchar]", kOk, "id name ", {}},
      {"id[int]|name[varchar]\r\nprint", kOk, "id name ", {}},
      {"id[int]|name[text]|size[int]", kOk, "id ", {kBad}},
      {"id[int]|junk|size[int]", kOk, "id ", {}},
      {"id[int]||size[int]", kOk, "id ", {}},
      {"|id[int]", kOk, "", {}},
      {"id[int]|", kOk, "id ", {}},
      {"", kEmptySchema, "", {kEmpty}},
      {"\nid[int]", kEmptySchema, "", {kEmpty}},
  };
  for (const auto& c : kSchemas) {
    SCOPED_TRACE(c.file.substr(0, 40));
    PutFile("kiv/schema/hosts", c.file);
    TakeLines();
    EXPECT_EQ(c.status, m_table.Open());
    EXPECT_EQ(c.lines, TakeLines());
    std::string columns;
    for (const char* name : {"id", "name", "junk", "size", ""}) {
      if (m_table.getcolumn(name) != nullptr) {
        columns += name + std::string(" ");
      }
    }
    EXPECT_EQ(c.columns, columns);
  }
  const std::string longName(9000, 'x');
  PutFile("kiv/schema/hosts", longName + "[int]");
  EXPECT_EQ(kOk, m_table.Open());
  EXPECT_NE(nullptr, m_table.getcolumn(longName.c_str()));
}

TEST_F(TableTest, RefusesWhatIsNoTable) {
  fs::create_directory(Path("kiv/schema/directory"));
  PutFile("kiv/outside", "id[int]");
  for (const char* name : {"missing", "", ".", "..", "../outside"}) {
    TakeLines();
    EXPECT_EQ(kNoSchema, m_table.Open(name)) << name;
    EXPECT_EQ(
        Lines{WithRoot("error 3: no such file [%/kiv/schema/") + name + "]"},
        TakeLines());
    EXPECT_STREQ(name, m_table.name());
    EXPECT_NE(nullptr, m_table.getcolumn("id")) << "columns stay";
  }
  EXPECT_EQ(-1, m_table.records()) << "no way out of the data directory";
  EXPECT_EQ(kEmptySchema, m_table.Open("directory"));
  TakeLines();
  EXPECT_EQ(kSchemaUnreadable, m_table.readSchema(Path("none").c_str()));
  EXPECT_EQ(nullptr, m_table.getcolumn("id"));
  EXPECT_EQ("error 4: failed to open schema file: " + Path("none"),
            TakeLines().back());
}

TEST_F(TableTest, WithoutAMutexRefusesToWork) {
  CTable none;
  std::vector<CColumn*> columns;
  const struct {
    int expected;
    int result;
  } kCalls[] = {
      {kInvalid, none.Open()},
      {kInvalid, none.ListRecordsNext(nullptr)},
      {kInvalid, none.ListRecordsNext(columns, nullptr)},
      {-1, none.records()},
      {kInvalid, none.addRecord("1,a,2", nullptr, 0)},
      {kInvalid, none.updateRecord("1", "a=2")},
      {kInvalid, none.deleteRecord("1")},
      {kInvalid, none.recover()},
      {kInvalid, none.clear()},
      {0, none.IsDir(nullptr, "") ? 1 : 0},
  };
  for (const auto& c : kCalls) EXPECT_EQ(c.expected, c.result);
  const Lines lines = TakeLines();
  EXPECT_EQ(std::size(kCalls), lines.size());
  EXPECT_EQ(Names{"error 20: Thread lock is not acquired, cannot proceed!"},
            Names(lines.begin(), lines.end()));
  EXPECT_EQ(kRecordUnreadable, none.readRecord("etc"));
}

TEST_F(TableTest, CopiesShareTheMutexAsLongAsTheyNeedIt) {
  PutRecord("1", "alpha|1|");
  ASSERT_EQ(kOk, m_table.readRecord("1"));
  CTable assigned(m_root.c_str(), "other");
  const CTable early(assigned);  // keeps the mutex that is assigned over
  {
    CTable source(m_table);
    EXPECT_EQ("1|alpha|1", Values(source));
    assigned = source;
    assigned = *&assigned;
  }
  EXPECT_STREQ("hosts", assigned.name());
  ASSERT_EQ(kOk, assigned.getcolumn("name")->SetData("own"));
  EXPECT_EQ("1|alpha|1", Values(m_table));
  EXPECT_EQ(1, assigned.records());
  CTable last(early);
  EXPECT_EQ(kOk, last.Open("hosts"));
  CTable empty;
  empty = m_table;
  m_table = CTable();
  EXPECT_EQ(1, empty.records());
}

TEST_F(TableTest, ReadsARecordsFirstLine) {
  const std::string kEmpty = "error 16: record length is 0, error";
  const std::string kShort =
      "error 16: can't readRecord: record's content error";
  const std::string big(5000, 'b');
  const struct {
    std::string file;
    int status;
    std::string values;  // after a record 1|old|0
    Lines lines;
  } kFiles[] = {
      {"alpha|4096|", kOk, "7|alpha|4096", {}},
      {"alpha|4096", kOk, "7|alpha|4096", {}},
      {"alpha|4096|x|y|", kOk, "7|alpha|4096", {}},
      {"alpha|4096|\nmore", kOk, "7|alpha|4096", {}},
      {"alpha|4096\nmore|x|", kOk, "7|alpha|4096", {}},
      {"a\\x7cb\\n|\\q|", kOk, "7|a|b\n|\\q", {}},
      {big + "|5|", kOk, "7|" + big.substr(0, 2047) + "|5", {}},
      {big + big + "|" + big,
       kOk,
       "7|" + big.substr(0, 2047) + "|" + big.substr(0, 2047),
       {}},
      {"alpha|", kBadRecord, "7|alpha|0", {kShort}},
      {"", kBadRecord, "1|old|0", {kEmpty}},
      {"\nalpha|1|", kBadRecord, "1|old|0", {kEmpty}},
  };
  for (const auto& c : kFiles) {
    SCOPED_TRACE(c.file.substr(0, 20));
    PutRecord("1", "old|0|");
    PutRecord("7", c.file);
    ASSERT_EQ(kOk, m_table.readRecord("1"));
    EXPECT_EQ(c.status, m_table.readRecord("7"));
    EXPECT_EQ(c.values, Values(m_table));
    EXPECT_EQ(c.lines, TakeLines());
  }
}

// None of them blocks, feeds the reader for ever, or leads outside.
TEST_F(TableTest, ReadsNothingFromOddEntries) {
  ASSERT_EQ(0, mkfifo(RecordPath("fifo").c_str(), 0600));
  fs::create_directory(RecordPath("directory"));
  fs::create_symlink("/dev/zero", RecordPath("zero"));
  PutFile("kiv/outside", "alpha|1|");
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, RecordPath("sock").c_str());
  ASSERT_EQ(0,
            bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)));
  close(fd);
  const struct {
    const char* id;
    int status;
  } kIds[] = {
      {"fifo", kBadRecord},
      {"directory", kBadRecord},
      {"zero", kBadRecord},
      {"sock", kRecordUnreadable},
      {"missing", kRecordUnreadable},
      {"", kRecordUnreadable},
      {".", kRecordUnreadable},
      {"..", kRecordUnreadable},
      {"../../outside", kRecordUnreadable},
      {nullptr, kInvalid},
  };
  for (const auto& c : kIds) {
    EXPECT_EQ(c.status, m_table.readRecord(c.id)) << (c.id ? c.id : "null");
  }
  TakeLines();
  EXPECT_EQ(kNoRecord, m_table.ListRecordsStart(nullptr));
  EXPECT_EQ(4U, TakeLines().size());
}

TEST_F(TableTest, GetsValuesByColumn) {
  char text[8] = "old";
  int number = 99;
  long big = 99;
  EXPECT_EQ(kOk, m_table.GetValStr("name", text, sizeof(text)));  // none yet
  EXPECT_STREQ("", text);
  PutRecord("12", "alpha|8589934592|");
  ASSERT_EQ(kOk, m_table.readRecord("12"));
  EXPECT_EQ(kOk, m_table.GetValBigInt("size", big));
  EXPECT_EQ(8589934592, big);
  EXPECT_EQ(kOk, m_table.GetValInt("id", number));
  EXPECT_EQ(12, number);
  EXPECT_EQ(kInvalid, m_table.GetValInt("name", number));
  EXPECT_EQ(kInvalid, m_table.GetValBigInt("name", big));
  EXPECT_EQ(kInvalid, m_table.GetValStr("name", nullptr, 4));
  EXPECT_EQ((Lines{"error 20: GetDataInt Error: invalid data [alpha]",
                   "error 20: GetDataBigInt Error: invalid data [alpha]",
                   "error 20: GetDataStr Error: invalid parameter"}),
            TakeLines());
  EXPECT_EQ(kNoColumn, m_table.GetValStr("Name", text, sizeof(text)));
  EXPECT_EQ(kNoColumn, m_table.GetValInt("x", number));
  EXPECT_EQ(kNoColumn, m_table.GetValBigInt("x", big));
  EXPECT_EQ((Lines{"info -1: can't find column by key [Name]",
                   "info 13: can't find column by key [x]",
                   "info 13: can't find column by key [x]"}),
            TakeLines());
}

}  // namespace
}  // namespace KivDB
