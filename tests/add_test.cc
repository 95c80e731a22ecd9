// Adding records and the safe save.

#include <fcntl.h>
#include <sys/stat.h>

#include "test_util.h"

namespace KivDB {

TEST_F(TableTest, StoresTheFieldsOfARecordText) {
  const std::string cut(2047, 'c');
  const std::string removed = "I0 remove old record file %/kiv/database/hosts/";
  const std::string bad = "E11 record's syntax error \n";
  const Case kTexts[] = {
      // with the file and what it holds
      {"7, alpha ,\t25 ", kOk, "7 alpha|25|"},
      {"7,beta,26,", kOk, "7 beta|26|", removed + "7.\n"},
      {"4294967295,a,b", kOk, "-1 a|b|"},
      {"11," + cut + "tail," + cut, kOk, "11 " + cut + "|" + cut + "|"},
      {"13\n,\na,c\n", kOk, "13 a|c|"},
      {"12,a\nb,c", kSyntax, "12 (none)", bad},
      {"14,a,", kSyntax, "14 (none)", bad},
      {"14,a,b,c", kSyntax, "14 (none)", bad},
      {"", kSyntax, "0.tmp (none)", bad}};
  for (const Case& c : kTexts) {
    EXPECT_EQ(c.status, m_table.addRecord(c.in.c_str(), nullptr, 1)) << c.in;
    const std::string id = c.out.substr(0, c.out.find(' '));
    EXPECT_EQ(c.out, id + " " + Get(id));
    EXPECT_EQ(c.log, Log());
  }
  EXPECT_EQ(kInvalid, m_table.addRecord(nullptr, nullptr, 0));
  EXPECT_EQ("-1 11 13 7 ", List("."));
  EXPECT_EQ("640", Mode("7"));
}

TEST_F(TableTest, AllocatesTheIdAfterTheHighest) {
  // The entry put there first, the maximum and the id; 99 stays.
  const std::tuple<const char*, unsigned, int> kSteps[] = {
      {"0", 0, 1},
      {"0", 2, 2},
      {"0", 2, 99},
      {"7.tmp", 0, 8},
      {"20.ADD", 0, 9},
      {"2147483647", INT_MAX, 99},
      {"2147483647", 0, INT_MIN},
      {"-1", 0, 0}};
  int id = 99;
  for (const auto& [entry, maximum, expected] : kSteps) {
    Put(entry, "x|1|");
    id = 99;
    const int status = m_table.addRecord("a,2", &id, maximum);
    EXPECT_EQ(expected != 99 ? kOk : kIdAboveMaximum, status);
    EXPECT_EQ(expected, id);
    EXPECT_EQ(id != 99 ? "a|2|" : "(none)", Get(std::to_string(id)));
  }
  EXPECT_EQ(0U, Log().find("E15 The new record's id(3) is greater than "
                           "specified max id(2).\n"));
  EXPECT_EQ(kSyntax, m_table.addRecord("1,a,2", &id, 0));
}

TEST_F(TableTest, SavesOnlyToAFileOfItsOwn) {
  Put("../outside", "precious");
  fs::create_symlink("../outside", "1.tmp");
  ASSERT_EQ(0, mkfifo("2.tmp", 0600) + mkfifo("5.tmp", 0600));
  const int reader = open("5.tmp", O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  fs::create_directories("3.tmp");
  fs::create_directories("4");
  for (const char* text : {"1,a,b", "2,a,b", "3,a,b", "4,a,b", "5,a,b"}) {
    EXPECT_EQ(kInvalid, m_table.addRecord(text, nullptr, 0)) << text;
  }
  char byte;
  EXPECT_EQ(0, read(reader, &byte, 1)) << "nothing came through";
  close(reader);
  EXPECT_EQ("precious", Get("../outside"));
  EXPECT_EQ("1.tmp 2.tmp 3.tmp 4 4.tmp 5.tmp ", List("."));
  EXPECT_EQ(-1, m_table.safe_save(nullptr, "", 0));
  EXPECT_EQ(-1, m_table.safe_save("./6", nullptr, 0));
  EXPECT_EQ(-1, m_table.safe_save("./6", "", -1));
  EXPECT_EQ(0, m_table.safe_save("./6", "a|b", 3));
  EXPECT_EQ("a|b", Get("6"));
}

// The longest path that leaves room for ".tmp", and one byte more; the longest
// of a record, and one byte more.
TEST_F(TableTest, RefusesAPathThatIsTooLong) {
  for (const std::size_t length : {4090U, 4091U, 4094U, 4095U}) {
    const std::string root = LongRoot(length - strlen("/kiv/database/t/1"));
    fs::current_path(root);
    Put("kiv/schema/t", "id[int]|a[int]");
    Put("kiv/database/t/1", "x|");
    CTable table(root.c_str(), "t");
    ASSERT_EQ(kOk, table.Open());
    Log();
    EXPECT_EQ(length <= 4090, table.addRecord("1,y", nullptr, 0) == kOk);
    EXPECT_EQ(length > 4090, Log() == "E20 Error occur when saving record!\n");
    EXPECT_EQ(length <= 4094 ? kOk : kRecordUnreadable, table.readRecord("1"));
    EXPECT_EQ(kOk, table.deleteRecord("1"));
    EXPECT_EQ(length <= 4094 ? 0 : 1, table.records());
    const std::string path = root + "/kiv/database/t/1";
    EXPECT_EQ(length <= 4090, table.safe_save(path.c_str(), "", 0) == 0);
    fs::current_path(m_root);
  }
}

}  // namespace KivDB
