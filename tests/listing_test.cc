// Loops over listings, and their rows.

#include "test_util.h"

namespace KivDB {

TEST_F(TableTest, LoopsOverEachRecordOnce) {
  CListing none(m_table);
  EXPECT_TRUE(none.begin() == none.end());
  for (const char* id : {"1", "2", "3"}) Put(id, "alpha|1|");
  Put("4", "beta|1|");
  Put("5", "broken");
  ASSERT_EQ(kOk, m_table.readRecord("4"));

  // Within each other, while records change, and again after a break.
  CListing outer(m_table, CConditionText().Equals("name", "alpha"));
  EXPECT_EQ(kOk, outer.status());
  for (const CRow& row : outer) {
    EXPECT_EQ(3U, row.size());
    break;
  }
  EXPECT_EQ(kOk, outer.status());
  std::multiset<std::string> pairs;
  for (const CRow& row : outer) {
    for (const CRow& other : CListing(m_table)) {
      pairs.insert(row.id() + std::string("-") + other.id());
    }
    EXPECT_EQ(kOk, m_table.updateRecord(row.id(), "size=2"));
    EXPECT_EQ(kOk, m_table.readRecord("4"));
  }
  EXPECT_EQ(kOk, outer.status());
  EXPECT_EQ(12U, pairs.size());
  EXPECT_EQ(12U, std::set<std::string>(pairs.begin(), pairs.end()).size());
  EXPECT_EQ("4|beta|1|", Values(m_table)) << "stays as it was";
  CListing rest(m_table, CConditionText().Equals("size", 1));
  EXPECT_EQ(1, std::distance(rest.begin(), rest.end()));
}

TEST_F(TableTest, GivesTheValuesOfARow) {
  Put("7", "a\\x2c b|-129|");
  CListing listing(m_table);
  const auto row = listing.begin();
  EXPECT_STREQ("7", row->id());
  EXPECT_TRUE((*row)["name"] == "a, b" && (*row)[2] == "-129");
  EXPECT_STREQ("a, b", (*row)["name"].data());
  EXPECT_EQ((std::vector<std::string>{"7", "a, b", "-129"}), row->values());
  EXPECT_EQ(7, row->Get<int>("id"));

  const std::tuple<std::string, int, int, int> kNumbers[] = {
      // whether it is a signed and an unsigned char, and a long
      {"0", 1, 1, 1},
      {"-0", 1, 0, 1},
      {"128", 0, 1, 1},
      {"-128", 1, 0, 1},
      {"-129", 0, 0, 1},
      {"255", 0, 1, 1},
      {"256", 0, 0, 1},
      {"007", 1, 1, 1},
      {"4294967296", 0, 0, 1},
      {"9223372036854775807", 0, 0, 1},
      {"9223372036854775808", 0, 0, 0},
      {"", 0, 0, 0},
      {"+1", 0, 0, 0},
      {"\\x201", 0, 0, 0},
      {"1\\x20", 0, 0, 0},
      {"-", 0, 0, 0},
      {"1.0", 0, 0, 0}};
  for (const auto& [text, isSmall, isByte, isLong] : kNumbers) {
    Put("7", "x|" + text + "|");
    const auto at = listing.begin();
    const auto small = at->Get<signed char>("size");
    const auto byte = at->Get<unsigned char>("size");
    const auto big = at->Get<long>("size");
    EXPECT_EQ(isSmall, small.has_value()) << text;
    EXPECT_EQ(isByte, byte.has_value()) << text;
    EXPECT_EQ(isLong, big.has_value()) << text;
    EXPECT_EQ(isLong != 0 ? std::stol(text) : 0, big.value_or(0)) << text;
    EXPECT_EQ(isSmall != 0 ? *big : 0, small.value_or(0));
    EXPECT_EQ(isByte != 0 ? *big : 0, byte.value_or(0));
  }
  EXPECT_EQ(kOk, listing.status());
}

TEST_F(TableTest, TellsWhyALoopEnded) {
  for (const char* id : {"1", "2"}) Put(id, "alpha|1|");
  const std::string there = ", there are [id] [name] [size]\n";
  // The condition, what is asked of each row, the status, the rows, the log.
  const std::tuple<CConditionText, const char*, int, int, std::string>
      kLoops[] = {
          {CConditionText().Equals("nmae", "alpha"), "id", kNoColumn, 0,
           "E13 no column [nmae]" + there},
          {CConditionText().Equals("size", "a,b").Equals("x", "="), "id",
           kNoColumn, 0, "E13 no column [x]" + there},
          {CConditionText().Equals("na me", "alpha"), "id", kSyntax, 0, ""},
          {CConditionText().Equals("name", "beta"), "none", kOk, 0, ""},
          {CConditionText(), "n\n", kNoColumn, 1,
           "E13 no column [n\\n]" + there},
          {CConditionText(), "", kNoColumn, 1, "E13 no column []" + there},
          {CConditionText(), "size", kOk, 2, ""}};
  Log();
  for (const auto& [condition, asked, status, rows, log] : kLoops) {
    CListing listing(m_table, condition);
    int count = 0;
    for (const CRow& row : listing) {
      ++count;
      const bool isThere = status == kOk;
      EXPECT_EQ(isThere ? "1" : "", row[asked]);
      EXPECT_EQ(isThere, row.Get<int>(asked).has_value());
      EXPECT_EQ(status, listing.status()) << "also after a break";
    }
    EXPECT_EQ(rows, count);
    EXPECT_EQ(status, listing.status());
    EXPECT_EQ(log, Log());
  }
  CListing listing(m_table);
  EXPECT_STREQ("", (*listing.begin())[3].data());
  EXPECT_TRUE(++listing.begin() != listing.end()) << "begins anew";
  EXPECT_EQ("E13 no column [3]" + there, Log());
  fs::remove_all(m_records);
  EXPECT_TRUE(listing.begin() == listing.end());
  EXPECT_EQ(kNotFound, listing.status());
  CListing unopened{CTable()};
  EXPECT_TRUE(unopened.begin() == unopened.end());
  EXPECT_EQ(kNotFound, unopened.status());
}

TEST_F(RootTest, TellsStatusesInWords) {
  std::set<std::string> texts;
  for (int status = -1; status <= kInvalid; ++status) {
    texts.insert(StatusText(status));
  }
  EXPECT_EQ(21U, texts.size()) << "only 6 and 9 are unknown";
  for (const auto& [status, text] : {std::pair(-1, "failed"),
                                     {+kNoRecord, "no such record"},
                                     {+kNoMemory, "no memory"},
                                     {6, "unknown status"},
                                     {21, "unknown status"},
                                     {INT_MIN, "unknown status"}}) {
    EXPECT_STREQ(text, StatusText(status)) << status;
  }
  EXPECT_STREQ(KIVDB_VERSION, Version());
}

}  // namespace KivDB
