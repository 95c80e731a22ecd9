// The table object, its schema, and the current record.

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include "test_util.h"

namespace KivDB {

TEST_F(TableTest, LoadsTheSchemaUpToItsFirstBadSpec) {
  const std::string big(9000, 'x');
  const Case kSchemas[] = {
      {"id[int]|name[varchar]\r\nprint", kOk, "id name "},
      {"id[int]|name[text]|size[int]", kOk, "id ", "I1 invalid data type\n"},
      {"id[int]\n" + big + "|size[int]", kOk, "id "},
      {"a[int]|b[int]|c[int]|d[int]|" + big + "[int]|size[int]", kOk,
       "size " + big + " "},
      {"", kEmptySchema, "", "I5 schema length is 0\n"},
      {"\nid[int]", kEmptySchema, "", "I5 schema length is 0\n"}};
  for (const Case& c : kSchemas) {
    Put("../../schema/hosts", c.in);
    EXPECT_EQ(c.status, m_table.Open()) << c.in;
    EXPECT_EQ(c.log, Log());
    std::string found;
    for (const char* name : {"id", "name", "junk", "size", "", big.c_str()}) {
      if (m_table.getcolumn(name) != nullptr) found += std::string(name) + " ";
    }
    EXPECT_EQ(c.out, found);
  }
}

TEST_F(TableTest, RefusesWhatIsNoTable) {
  Put("../../outside", "id[int]");
  for (const std::string name : {"missing", "", ".", "..", "../outside"}) {
    EXPECT_EQ(kNoSchema, m_table.Open(name.c_str()));
    EXPECT_EQ("E3 no such file [%/kiv/schema/" + name + "]\n", Log());
    EXPECT_EQ(name, m_table.name());
    EXPECT_NE(nullptr, m_table.getcolumn("id")) << "columns stay";
    EXPECT_EQ(-1, m_table.records()) << "no way out of the data directory";
    EXPECT_EQ(kInvalid, m_table.addRecord("5,x,1", nullptr, 0));
    const std::string log = Log();
    EXPECT_EQ(log.npos, log.find("remove")) << log;
    EXPECT_EQ(
        "E20 Error occur when saving record!\n",
        name == "missing" ? log.substr(log.rfind('E', log.size() - 36)) : log);
  }
  EXPECT_EQ(kEmptySchema, m_table.readSchema("."));
  EXPECT_EQ(kSchemaUnreadable, m_table.readSchema("none"));
  EXPECT_EQ(nullptr, m_table.getcolumn("id"));
  EXPECT_EQ("I5 schema length is 0\nE4 failed to open schema file: none\n",
            Log());
}

TEST_F(TableTest, WithoutAMutexRefusesToWork) {
  CTable none;
  int id = 0;
  const std::vector<int> results = {none.Open(),
                                    none.ListRecordsNext(nullptr),
                                    none.addRecord("1,a,2", nullptr, 0),
                                    none.addRecord("a,2", &id, 0),
                                    none.updateRecord("1", "a=2"),
                                    none.deleteRecord("1"),
                                    none.recover(),
                                    none.clear()};
  EXPECT_EQ(std::vector<int>(8, kInvalid), results);
  EXPECT_EQ(-1, none.records());
  EXPECT_FALSE(none.IsDir(nullptr, ""));
  const std::string line = "E20 Thread lock is not acquired, cannot proceed!\n";
  EXPECT_EQ(line + line + line + line + line + line + line + line + line + line,
            Log());
  EXPECT_EQ(kRecordUnreadable, none.readRecord("etc"));
  EXPECT_EQ(kNotFound, none.ListRecordsStart(nullptr)) << "no directory";
}

// Its paths are not built; the one of the record to add is.
TEST_F(TableTest, SavesBelowTheTableThatWasNotOpened) {
  Put("7", "alpha|1|");
  CTable unopened(m_root.c_str(), "hosts");
  int id = 99;
  ASSERT_EQ(kOk, unopened.readSchema("../../schema/hosts"));
  EXPECT_EQ(kOk, unopened.addRecord("8,x,1", nullptr, 0));
  EXPECT_EQ(kInvalid, unopened.addRecord("x,1", &id, 0));
  EXPECT_EQ(kRecordUnreadable, unopened.readRecord("7"));
  EXPECT_EQ(kNotFound, unopened.updateRecord("7", "size=2"));
  EXPECT_EQ(kOk, unopened.deleteRecord("7"));
  EXPECT_EQ("7 8 ", List("."));
  EXPECT_EQ(99, id);
}

TEST_F(TableTest, CopiesShareTheMutexAsLongAsTheyNeedIt) {
  Put("1", "alpha|1|");
  ASSERT_EQ(kOk, m_table.readRecord("1"));
  CTable assigned(m_root.c_str(), "other");
  CTable early(assigned);  // keeps the mutex that is assigned over
  {
    CTable source(m_table);
    EXPECT_EQ("1|alpha|1|", Values(source));
    assigned = source;
    assigned = *&assigned;
  }
  EXPECT_STREQ("hosts", assigned.name());
  ASSERT_EQ(kOk, assigned.getcolumn("name")->SetData("own"));
  EXPECT_EQ("1|alpha|1|", Values(m_table));
  m_table = CTable();
  EXPECT_EQ(1, assigned.records());
  EXPECT_EQ(kOk, early.Open("hosts"));
}

TEST_F(TableTest, ReadsARecordsFirstLine) {
  const std::string big(5000, 'b');
  const std::string cut(2047, 'b');
  const std::string empty = "E16 record length is 0, error\n";
  const std::string bad = "E16 can't readRecord: record's content error\n";
  const Case kFiles[] = {
      {"alpha|4096", kOk, "7|alpha|4096|"},
      {big + big + "|" + big, kOk, "7|" + cut + "|" + cut + "|"},
      {cut + "|" + cut, kOk, "7|" + cut + "|" + cut + "|"},
      {big.substr(0, 4092) + "|12345|", kOk, "7|" + cut + "|12345|"},
      {"alpha|", kBadRecord, "7|alpha|0|", bad},
      {"", kBadRecord, "1|old|0|", empty},
      {"\nalpha|1|", kBadRecord, "1|old|0|", empty}};
  Put("1", "old|0|");
  for (const Case& c : kFiles) {
    Put("7", c.in);
    ASSERT_EQ(kOk, m_table.readRecord("1"));
    EXPECT_EQ(c.status, m_table.readRecord("7")) << c.in;
    EXPECT_EQ(c.out, Values(m_table));
    EXPECT_EQ(c.log, Log());
  }
}

// None of them blocks, feeds the reader for ever, or leads outside.
TEST_F(TableTest, ReadsNothingFromOddEntries) {
  ASSERT_EQ(0, mkfifo("fifo", 0600));
  fs::create_directory("directory");
  fs::create_symlink("/dev/zero", "zero");
  Put("../../outside", "alpha|1|");
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un at = {AF_UNIX, "sock"};
  ASSERT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&at), sizeof(at)));
  close(fd);
  for (const char* id : {"fifo", "directory", "zero"}) {
    EXPECT_EQ(kBadRecord, m_table.readRecord(id)) << id;
  }
  for (const char* id : {"sock", "none", "", ".", "..", "../../outside"}) {
    EXPECT_EQ(kRecordUnreadable, m_table.readRecord(id)) << id;
  }
  EXPECT_EQ(kInvalid, m_table.readRecord(nullptr));
  EXPECT_EQ(kNoRecord, m_table.ListRecordsStart(nullptr));
  EXPECT_EQ(kEmptySchema, m_table.readSchema("fifo"));
}

}  // namespace KivDB
