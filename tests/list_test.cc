// Listing, conditions, lookups by id, and walks that look at names only.

#include "test_util.h"

namespace KivDB {
namespace {

using ListTest = CTableTest;

TEST_F(ListTest, DeliversEachRecordOnce) {
  EXPECT_EQ(kNoRecord, m_table.ListRecordsNext(nullptr));
  PutRecord("1", "alpha|1|");
  PutRecord("2", "beta|2|");
  PutRecord("3", "broken");
  PutRecord("4.ADD", "gamma|4|");
  PutRecord("5.tmp", "delta|5|");
  Names found;
  std::vector<CColumn*> columns;
  int status = m_table.ListRecordsStart(columns, nullptr);
  for (; status == kOk; status = m_table.ListRecordsNext(columns, nullptr)) {
    EXPECT_EQ(m_table.getcolumn("id"), columns.at(0));
    EXPECT_TRUE(found.insert(Values(m_table)).second);
  }
  EXPECT_EQ(kNoRecord, status);
  EXPECT_EQ((Names{"1|alpha|1", "2|beta|2", "5.tmp|delta|5"}), found);
  const Lines lines = TakeLines();
  EXPECT_EQ((Names{"error 16: can't readRecord: record's content error",
                   "error 16: invalid record name found: 4.ADD."}),
            Names(lines.begin(), lines.end()));
  EXPECT_EQ(2U, lines.size());
  EXPECT_EQ(kNoRecord, m_table.ListRecordsNext(nullptr));
}

// Record 2 is beta, with the size 7.
TEST_F(ListTest, MatchesConditions) {
  const struct {
    const char* condition;
    bool holds;
  } kConditions[] = {
      {"id=2", true},
      {" i\td = 2 ", true},  // blanks go from the key and around the value
      {"id=2,name=beta", true},
      {"id=2,name=alpha", false},
      {"id=2,name", true},  // a pair without "=" ends the list
      {"name", false},
      {"id=2,,name=alpha", true},  // and so does an empty one
      {",id=2", false},
      {"id=02", false},  // texts are compared, not numbers
      {"name=be ta", false},
      {"name=Beta", false},
      {"name=\\x62eta", true},  // a value may be escaped
      {"size=7=", false},
      {"size=", false},
      {"other=2", false},
      {"=2", false},
      {"", false},  // no pair held
  };
  PutRecord("2", "beta|7|");
  ASSERT_EQ(kOk, m_table.readRecord("2"));
  for (const auto& c : kConditions) {
    EXPECT_EQ(c.holds, m_table.MatchColumn(c.condition)) << c.condition;
    EXPECT_EQ(c.holds ? kOk : kNoRecord, m_table.ListRecordsStart(c.condition))
        << c.condition;
  }
  EXPECT_EQ(Lines{}, TakeLines());
  EXPECT_FALSE(m_table.MatchColumn(nullptr));
  EXPECT_EQ(Lines{"info -1: no condition"}, TakeLines());
  PutRecord("3", "a=b|" + std::string(5000, 'x') + "|");
  EXPECT_EQ(kOk, m_table.ListRecordsStart("name=a=b"));
  const std::string longPair = "size=" + std::string(4990, 'x');
  EXPECT_EQ(kOk, m_table.ListRecordsStart(longPair.c_str())) << "both are cut";
}

TEST_F(ListTest, LooksRecordsUpById) {
  PutRecord("1", "alpha|10|");
  PutRecord("3", "gamma|30|");
  std::vector<CColumn*> columns;
  EXPECT_EQ(kNoRecord, m_table.GetRecord("2", columns));
  EXPECT_TRUE(columns.empty());
  EXPECT_EQ(kInvalid, m_table.GetRecord(nullptr, columns));
  EXPECT_EQ(kOk, m_table.GetRecord("3", columns));
  ASSERT_EQ(3U, columns.size());
  EXPECT_STREQ("gamma", columns[1]->data());
  char text[8];
  int number = 0;
  long big = 0;
  EXPECT_EQ(kOk, m_table.GetValStr("1", "name", text, sizeof(text)));
  EXPECT_STREQ("alpha", text);
  EXPECT_EQ(kOk, m_table.GetValInt("3", "size", number));
  EXPECT_EQ(30, number);
  EXPECT_EQ(kOk, m_table.GetValBigInt("1", "size", big));
  EXPECT_EQ(10, big);
  EXPECT_EQ(kNoRecord, m_table.GetValInt("9", "size", number));
  EXPECT_EQ(kNoColumn, m_table.GetValInt("3", "none", number));
  fs::remove_all(Path(kTablePath));
  EXPECT_EQ(kNotFound, m_table.GetRecord("3", columns));
}

TEST_F(ListTest, CountsEntriesAndFindsTheHighestId) {
  const struct {
    const char* add;
    int records;
    unsigned int highest;
  } kSteps[] = {
      {nullptr, 0, 0},       {"3", 1, 3},    {"12.tmp", 2, 12},
      {"99.ADD", 2, 12},     {"x", 3, 12},   {"a.UPDATE.b", 3, 12},
      {"99.add", 4, 99},     {"007", 5, 99}, {"4294967296", 6, 99},
      {"-1", 7, 4294967295},
  };
  for (const auto& c : kSteps) {
    if (c.add != nullptr) PutRecord(c.add, "");
    EXPECT_EQ(c.records, m_table.records());
    EXPECT_EQ(kNoRecord, m_table.ListRecordsNext(nullptr));
    EXPECT_EQ(c.highest, m_table.get_max_id()) << (c.add ? c.add : "empty");
  }
  fs::remove_all(Path(kTablePath));
  TakeLines();
  EXPECT_EQ(-1, m_table.records());
  EXPECT_EQ(4294967295, m_table.get_max_id());
  EXPECT_EQ(kNotFound, m_table.ListRecordsStart(nullptr));
  EXPECT_EQ(Lines{}, TakeLines());
}

TEST_F(ListTest, TellsEntriesApart) {
  const struct {
    const char* name;
    bool ignored;  // with the flag clear
    bool ignoredWithFlag;
  } kNames[] = {
      {".", true, true},         {"..", true, true},    {"7", false, false},
      {"7.UPDATE", true, false}, {".ADD", true, false}, {"...", false, false},
      {"7.tmp", false, false},   {".a", false, false},  {"ADD", false, false},
  };
  for (const auto& c : kNames) {
    EXPECT_EQ(c.ignored, m_table.is_ignorable_file(c.name, false)) << c.name;
    EXPECT_EQ(c.ignoredWithFlag, m_table.is_ignorable_file(c.name, true));
  }
  EXPECT_EQ((Lines{"error 16: invalid record name found: 7.UPDATE.",
                   "error 16: invalid record name found: .ADD."}),
            TakeLines());

  PutRecord("1", "");
  fs::create_directory(RecordPath("sub"));
  CDirIterator iterator(Path(kTablePath));
  ASSERT_EQ(0, iterator.open());
  while (const dirent* entry = iterator.read()) {
    const bool isDir = std::string(entry->d_name) != "1";
    EXPECT_EQ(isDir, m_table.IsDir(entry, Path(kTablePath).c_str()));
    EXPECT_FALSE(m_table.IsDir(entry, Path("none").c_str()));
  }
}

}  // namespace
}  // namespace KivDB
