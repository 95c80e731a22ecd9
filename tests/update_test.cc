// Updating, deleting, recovering and clearing.

#include "test_util.h"

namespace KivDB {

TEST_F(TableTest, ChangesWhatTheTextNamesAndNothingElse) {
  const std::string big(5000, 'b');
  const std::string cut(2047, 'b');
  const std::string one = "alpha|1|";
  // Stored, the text, the status, and what is stored and in memory after it.
  using S = std::string;
  const std::tuple<S, S, int, S, S> kUpdates[] = {
      {one, " na me = beta ", kOk, "beta|1|", "7|beta|1|"},
      {one, "", kOk, "alpha|1|", "7|alpha|1|"},
      {one, "id=9", kOk, "alpha|1|", "9|alpha|1|"},
      {"a\\x7c\\q|1|", "size=2", kOk, "a\\x7c\\q|2|", "7|a|\\q|2|"},
      {one, "name=c\\x7cd", kOk, "c\\x7cd|1|", "7|c\\x7cd|1|"},
      {big + "|\\x31|", "size=2", kOk, big + "|2|", "7|" + cut + "|2|"},
      {big + "|\\x31|", "name=x", kOk, "x|\\x31|", "7|x|1|"},
      {one, "name=" + big, kOk, big + "|1|", "7|" + big + "|1|"},
      {one, "name=x,,size=2", kSyntax, one, "7|x|1|"},
      {one, "name=x, No ne =2", kSyntax, one, "7|x|1|"},
      {one, "name=a\nb", kSyntax, one, "7|a\nb|1|"},
      {"alpha|", "size=2", kBadRecord, "alpha|", "7|alpha|1|"}};
  for (const auto& [stored, text, status, after, values] : kUpdates) {
    Put("7", stored);
    EXPECT_EQ(status, m_table.updateRecord("7", text.c_str())) << text;
    EXPECT_EQ(after, Get("7"));
    EXPECT_EQ(values, Values(m_table)) << text;
  }
  EXPECT_EQ("7 ", List("."));
}

TEST_F(TableTest, LogsWhyItRefuses) {
  Put("../../outside", "alpha|1|");
  Put("7", "alpha|1|");
  for (const std::string id : {"8", "../../outside", "", "."}) {
    EXPECT_EQ(kNotFound, m_table.updateRecord(id.c_str(), "name=x"));
    EXPECT_EQ("E7 file not found [%/kiv/database/hosts/" + id + "]\n", Log());
  }
  for (const char* text : {",", "no ne=1", "=1", "name=a\nb"}) {
    EXPECT_EQ(kSyntax, m_table.updateRecord("7", text)) << text;
  }
  EXPECT_EQ(kInvalid, m_table.updateRecord(nullptr, "name=x"));
  EXPECT_EQ(kInvalid, m_table.updateRecord("7", nullptr));
  EXPECT_EQ(
      "E11 syntax error: no key\nE11 can't get column by key [none]\n"
      "E11 can't get column by key []\nE11 record's syntax error \n"
      "E20 invalid parameter\nE20 invalid parameter\n",
      Log());
  EXPECT_EQ("alpha|1|alpha|1|", Get("7") + Get("../../outside"));
}

TEST_F(TableTest, WritesTheCurrentRecordAnywhere) {
  Put("7", "a\\x7cb|1|");
  ASSERT_EQ(kOk, m_table.readRecord("7"));
  ASSERT_EQ(kOk, m_table.update_col(strdup("size = 5")));
  EXPECT_EQ(kOk, m_table.update("./8"));
  EXPECT_EQ("a|b|5|a\\x7cb|1|", Get("8") + Get("7"));
  EXPECT_EQ(kNoMemory, m_table.update_col(nullptr));
  EXPECT_EQ(kSyntax, m_table.update_col(strdup("x=1")));
  EXPECT_EQ(kInvalid, m_table.update(nullptr));
  EXPECT_EQ(kInvalid, m_table.update("none/8"));

  Put("7", "alpha|1|");
  Put("../../schema/hosts", "none");
  ASSERT_EQ(kOk, m_table.Open());
  Log();
  EXPECT_EQ(kSyntax, m_table.updateRecord("7", "")) << "without columns";
  EXPECT_EQ("E11 record's syntax error \n", Log());
  EXPECT_EQ("alpha|1|", Get("7"));
}

TEST_F(TableTest, DeletesOnlyTheRecordItself) {
  for (const char* id : {"7", "7.tmp", "sub/x", "../../out"}) Put(id, "a|1|");
  for (const char* id : {"7", "7", "", ".", "..", "../../out", "sub"}) {
    EXPECT_EQ(kOk, m_table.deleteRecord(id)) << id;
  }
  EXPECT_EQ("7.tmp sub ", List("."));
  EXPECT_EQ("a|1|", Get("../../out") + Log());
  EXPECT_EQ(kInvalid, m_table.deleteRecord(nullptr));
}

TEST_F(TableTest, RecoversAndClears) {
  for (const char* id : {"1", "3.ADD", "4.UPDATE", "5.tmp", ".ADD.x", "6.add",
                         "7ADD", "8UPDATE", "sub.ADD/x"}) {
    Put(id, "a|1|");
  }
  EXPECT_EQ(kOk, m_table.recover());
  EXPECT_EQ("1 5.tmp 6.add 7ADD 8UPDATE sub.ADD ", List("."));
  EXPECT_EQ(kOk, m_table.clear());
  EXPECT_EQ("sub.ADD ", List("."));
  EXPECT_EQ(kNoRecord, m_table.ListRecordsNext(nullptr));
  fs::remove_all(m_records);
  EXPECT_EQ(kNotFound, m_table.recover());
  EXPECT_EQ(kNotClearable, m_table.clear());
  EXPECT_EQ("", Log());
}

}  // namespace KivDB
