// Listing, conditions, lookups by id, and walks that look at names only.

#include "test_util.h"

namespace KivDB {

TEST_F(TableTest, DeliversEachRecordOnce) {
  EXPECT_EQ(kNoRecord, m_table.ListRecordsNext(nullptr));
  for (const char* id : {"1", "2", "4.ADD", "5.tmp"}) Put(id, "alpha|1|");
  Put("3", "broken");
  std::multiset<std::string> found;
  std::vector<CColumn*> columns;
  int status = m_table.ListRecordsStart(columns, nullptr);
  for (; status == kOk; status = m_table.ListRecordsNext(columns, nullptr)) {
    found.insert(columns.at(0)->data());
    EXPECT_STREQ("alpha", m_table.getcolumn("name")->data());
  }
  EXPECT_EQ(kNoRecord, status);
  EXPECT_EQ((std::multiset<std::string>{"1", "2", "5.tmp"}), found);
  const std::string log = Log();
  EXPECT_EQ(2, std::count(log.begin(), log.end(), '\n')) << log;
}

TEST_F(TableTest, MatchesConditions) {
  Put("2", "beta|7|");
  ASSERT_EQ(kOk, m_table.readRecord("2"));
  // Blanks go from the key and around the value, which may be escaped; a pair
  // that is empty or without "=" ends the list.
  for (const char* met : {" i\td = 2 ", "id=2,name", "id=2,,name=alpha",
                          "size=7,name=\\x62eta"}) {
    EXPECT_TRUE(m_table.MatchColumn(met)) << met;
    EXPECT_EQ(kOk, m_table.ListRecordsStart(met)) << met;
  }
  // Whole texts are compared, not numbers, and some pair must hold.
  for (const char* unmet :
       {"id=2,name=alpha", "id=02", "name=be ta", "name=bet", "name=betas",
        "nam=beta", "size=7=", "other=2", ",id=2", ""}) {
    EXPECT_FALSE(m_table.MatchColumn(unmet)) << unmet;
    EXPECT_EQ(kNoRecord, m_table.ListRecordsStart(unmet)) << unmet;
  }
  EXPECT_FALSE(m_table.MatchColumn(nullptr));
  EXPECT_EQ("I-1 no condition\n", Log());
  Put("4", "\\x20b|1|");
  EXPECT_EQ(kOk, m_table.ListRecordsStart("name=\\x20b"));
  Put("3", "a=b|" + std::string(5000, 'x') + "|");
  const std::string both = "name=a=b,size=" + std::string(4990, 'x');
  EXPECT_EQ(kOk, m_table.ListRecordsStart(both.c_str())) << "both are cut";
}

TEST_F(TableTest, LooksUpRecordsAndTheirValues) {
  Put("1", "alpha|8589934592|");
  Put("3", "gamma|30|");
  std::vector<CColumn*> columns;
  char text[8] = "old";
  int number = 0;
  long big = 0;
  EXPECT_EQ(kOk, m_table.GetValStr("name", text, sizeof(text)));
  EXPECT_STREQ("", text) << "no record was read";
  EXPECT_EQ(kNoRecord, m_table.GetRecord("2", columns));
  EXPECT_TRUE(columns.empty());
  EXPECT_EQ(kOk, m_table.GetRecord("3", columns));
  ASSERT_EQ(3U, columns.size());
  EXPECT_STREQ("gamma", columns[1]->data());
  EXPECT_EQ(kOk, m_table.GetValInt("3", "size", number));
  EXPECT_EQ(30, number);
  EXPECT_EQ(kOk, m_table.GetValStr("1", "name", text, sizeof(text)));
  EXPECT_STREQ("alpha", text);
  EXPECT_EQ(kOk, m_table.GetValBigInt("1", "size", big));
  EXPECT_EQ(8589934592, big);
  EXPECT_EQ(kNoRecord, m_table.GetValInt("9", "size", number));
  EXPECT_EQ(kOk, m_table.readRecord("3"));
  EXPECT_EQ(kInvalid, m_table.GetValInt("name", number));
  EXPECT_EQ(kInvalid, m_table.GetValBigInt("name", big));
  EXPECT_EQ(kNoColumn, m_table.GetValStr("Name", text, sizeof(text)));
  EXPECT_EQ(kNoColumn, m_table.GetValInt("1", "x", number));
  EXPECT_EQ(kNoColumn, m_table.GetValBigInt("x", big));
  EXPECT_EQ(kInvalid, m_table.GetRecord(nullptr, columns));
  // A condition "id=" of 254 bytes, and one that is cut.
  for (const std::size_t size : {251U, 252U}) {
    const std::string id(size, '7');
    Put(id, "alpha|1|");
    EXPECT_EQ(size == 251, m_table.GetRecord(id.c_str(), columns) == kOk);
    fs::remove(id);
  }
  EXPECT_EQ(
      "E20 GetDataInt Error: invalid data [gamma]\n"
      "E20 GetDataBigInt Error: invalid data [gamma]\n"
      "I-1 can't find column by key [Name]\n"
      "I13 can't find column by key [x]\nI13 can't find column by key [x]\n"
      "E20 invalid parameter\n",
      Log());
}

// The cursor keeps its names; the records are those of the table as it is now.
TEST_F(TableTest, ReadsTheNewTableInAnOldListing) {
  Put("../../schema/other", "id[int]|name[varchar]|size[bigint]");
  for (const char* id : {"1", "2"}) {
    Put(id, "old|1|");
    Put(std::string("../other/") + id, "new|2|");
  }
  CTable other(m_root.c_str(), "other");
  ASSERT_EQ(kOk, other.Open());
  ASSERT_EQ(2, other.records()) << "its own cursor is no matter";
  const std::function<void()> changes[] = {[&] { m_table.Open(); },
                                           [&] { m_table.Open("other"); },
                                           [&] { m_table = other; }};
  for (const auto& change : changes) {
    ASSERT_EQ(kOk, m_table.Open("hosts"));
    ASSERT_EQ(kOk, m_table.ListRecordsStart(nullptr));
    change();
    EXPECT_EQ(kOk, m_table.ListRecordsNext(nullptr));
    EXPECT_STREQ(m_table.name() == std::string("other") ? "new" : "old",
                 m_table.getcolumn("name")->data());
    EXPECT_EQ(kNoRecord, m_table.ListRecordsNext(nullptr));
  }
}

TEST_F(TableTest, CountsEntriesAndFindsTheHighestId) {
  const std::tuple<const char*, int, unsigned> kSteps[] = {
      {"x", 1, 0},         {"3", 2, 3},           {"12.tmp", 3, 12},
      {"99.ADD", 3, 12},   {"a.UPDATE.b", 3, 12}, {"99.add", 4, 99},
      {"0x999", 5, 99},    {"4294967296", 6, 99}, {"100ADD", 7, 100},
      {"9UPDATE", 8, 100}, {"-1", 9, 4294967295}};
  EXPECT_EQ(0, m_table.records());
  for (const auto& [added, count, highest] : kSteps) {
    Put(added, "");
    EXPECT_EQ(count, m_table.records()) << added;
    EXPECT_EQ(kNoRecord, m_table.ListRecordsNext(nullptr)) << "at its end";
    EXPECT_EQ(highest, m_table.get_max_id()) << added;
  }
  fs::remove_all(m_records);
  Log();
  EXPECT_EQ(-1, m_table.records());
  EXPECT_EQ(4294967295, m_table.get_max_id());
  EXPECT_EQ(kNotFound, m_table.ListRecordsStart(nullptr));
  EXPECT_EQ("", Log());
}

TEST_F(TableTest, TellsEntriesApart) {
  std::string ignored;
  for (const bool flag : {false, true}) {
    for (const std::string name :
         {"7", "...", ".a", "7.tmp", "ADD", ".", "..", "7.UPDATE", ".ADD"}) {
      const bool is = m_table.is_ignorable_file(name.c_str(), flag);
      ignored += is ? name + " " : "";
    }
  }
  EXPECT_EQ(". .. 7.UPDATE .ADD . .. ", ignored);
  EXPECT_EQ(
      "E16 invalid record name found: 7.UPDATE.\n"
      "E16 invalid record name found: .ADD.\n",
      Log());

  Put("1", "");
  CDirIterator iterator(".");
  ASSERT_EQ(0, iterator.open());
  while (const dirent* entry = iterator.read()) {
    const bool isDir = std::string(entry->d_name) != "1";
    EXPECT_EQ(isDir, m_table.IsDir(entry, m_records.c_str()));
    EXPECT_FALSE(m_table.IsDir(entry, "none"));
  }
}

}  // namespace KivDB
