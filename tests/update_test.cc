// Updating, deleting, recovering and clearing.

#include <cstring>

#include "test_util.h"

namespace KivDB {
namespace {

using UpdateTest = CTableTest;

TEST_F(UpdateTest, ChangesWhatTheTextNamesAndNothingElse) {
  const std::string big(5000, 'b');
  const struct {
    std::string stored;
    std::string text;
    int status;
    std::string content;  // afterwards
    std::string values;   // in memory; empty: not looked at
  } kUpdates[] = {
      {"alpha|1|", " na me = beta ", kOk, "beta|1|", "7|beta|1"},
      {"alpha|1|", "name=a=b,size=2", kOk, "a=b|2|", "7|a=b|2"},
      {"alpha|1|", "name", kOk, "|1|", "7||1"},
      {"alpha|1|", "name=,", kOk, "|1|", "7||1"},
      {"alpha|1|", "name=x,name=y", kOk, "y|1|", "7|y|1"},
      {"alpha|1|", "", kOk, "alpha|1|", "7|alpha|1"},
      {"alpha|1|", "id=9", kOk, "alpha|1|", "9|alpha|1"},
      {"alpha|1", "size=2", kOk, "alpha|2|", "7|alpha|2"},
      {"a\\x7cb\\n\\q|1|", "size=2", kOk, "a\\x7cb\\n\\q|2|", "7|a|b\n\\q|2"},
      {"a\\x7cb|1|", "name=c\\x7cd", kOk, "c\\x7cd|1|", ""},
      {big + "|\\x31|", "name=x", kOk, "x|\\x31|", "7|x|1"},
      {big + "|1|", "size=2", kOk, big + "|2|", ""},
      {"alpha|1|", "name=" + big, kOk, big + "|1|", ""},
      {"alpha|1|", "name=x,,size=2", kSyntax, "alpha|1|", "7|x|1"},
      {"alpha|1|", "name=x, No ne =2", kSyntax, "alpha|1|", "7|x|1"},
      {"alpha|1|", "=2", kSyntax, "alpha|1|", "7|alpha|1"},
      {"alpha|1|", "name=a\nb", kSyntax, "alpha|1|", "7|a\nb|1"},
      {"alpha|", "size=2", kBadRecord, "alpha|", ""},
  };
  for (const auto& c : kUpdates) {
    SCOPED_TRACE(c.stored.substr(0, 20) + " " + c.text.substr(0, 20));
    PutRecord("7", c.stored);
    TakeLines();
    EXPECT_EQ(c.status, m_table.updateRecord("7", c.text.c_str()));
    EXPECT_EQ(c.content, GetRecord("7"));
    if (!c.values.empty()) {
      EXPECT_EQ(c.values, Values(m_table));
    }
    EXPECT_EQ(1U, TakeLines().size()) << "the removal or the reason";
  }
  EXPECT_EQ(Names{"7"}, ListRecords());
}

TEST_F(UpdateTest, LogsWhyItRefuses) {
  PutFile("kiv/outside", "alpha|1|");
  PutRecord("7", "alpha|1|");
  const struct {
    const char* id;
    const char* text;
    int status;
    std::string line;
  } kRefused[] = {
      {"8", "name=x", kNotFound, "7: file not found [" + RecordPath("8") + "]"},
      {"../../outside", "name=x", kNotFound,
       "7: file not found [" + RecordPath("../../outside") + "]"},
      {"", "name=x", kNotFound, "7: file not found [" + RecordPath("") + "]"},
      {"7", ",", kSyntax, "11: syntax error: no key"},
      {"7", "no ne=1", kSyntax, "11: can't get column by key [none]"},
      {"7", "=1", kSyntax, "11: can't get column by key []"},
      {"7", "name=a\nb", kSyntax, "11: record's syntax error "},
      {nullptr, "name=x", kInvalid, "20: invalid parameter"},
      {"7", nullptr, kInvalid, "20: invalid parameter"},
  };
  for (const auto& c : kRefused) {
    TakeLines();
    EXPECT_EQ(c.status, m_table.updateRecord(c.id, c.text));
    EXPECT_EQ(Lines{"error " + c.line}, TakeLines());
  }
  EXPECT_EQ("alpha|1|", GetFile("kiv/outside"));
  EXPECT_EQ("alpha|1|", GetRecord("7"));
}

TEST_F(UpdateTest, WritesTheCurrentRecordAnywhere) {
  PutRecord("7", "a\\x7cb|1|");
  ASSERT_EQ(kOk, m_table.readRecord("7"));
  ASSERT_EQ(kOk, m_table.update_col(strdup("size = 5")));
  EXPECT_EQ(kOk, m_table.update(RecordPath("8").c_str()));
  EXPECT_EQ("a|b|5|", GetRecord("8"));
  EXPECT_EQ("a\\x7cb|1|", GetRecord("7"));
  EXPECT_EQ(kNoMemory, m_table.update_col(nullptr));
  EXPECT_EQ(kSyntax, m_table.update_col(strdup("x=1")));
  EXPECT_EQ(kInvalid, m_table.update(nullptr));
  EXPECT_EQ(kInvalid, m_table.update(Path("none/8").c_str()));
  EXPECT_EQ("error 20: Error occur when saving record!", TakeLines().back());
}

TEST_F(UpdateTest, DeletesOnlyTheRecordItself) {
  PutFile("kiv/outside", "");
  for (const char* id : {"7", "7.tmp", "8"}) PutRecord(id, "a|1|");
  fs::create_directory(RecordPath("sub"));
  for (const char* id :
       {"7", "7", "none", "", ".", "..", "../../outside", "sub"}) {
    EXPECT_EQ(kOk, m_table.deleteRecord(id)) << id;
  }
  EXPECT_EQ((Names{"7.tmp", "8", "sub"}), ListRecords());
  EXPECT_EQ("", GetFile("kiv/outside"));
  EXPECT_EQ(Lines{}, TakeLines());
  EXPECT_EQ(kInvalid, m_table.deleteRecord(nullptr));
  CTable unopened(m_root.c_str(), "hosts");
  EXPECT_EQ(kOk, unopened.deleteRecord("8"));
  EXPECT_EQ("a|1|", GetRecord("8"));
}

TEST_F(UpdateTest, RecoversAndClears) {
  EXPECT_EQ(kOk, m_table.recover());
  EXPECT_EQ(kOk, m_table.clear());
  const Names kKept = {"1", "5.tmp", "6.add", "sub.ADD"};
  for (const char* id :
       {"1", "3.ADD", "4.UPDATE", "5.tmp", ".ADD.x", "6.add"}) {
    PutRecord(id, "a|1|");
  }
  fs::create_directory(RecordPath("sub.ADD"));
  EXPECT_EQ(kOk, m_table.recover());
  EXPECT_EQ(kKept, ListRecords());
  EXPECT_EQ(kOk, m_table.recover());
  EXPECT_EQ(kKept, ListRecords());
  EXPECT_EQ(kOk, m_table.clear());
  EXPECT_EQ(Names{"sub.ADD"}, ListRecords());
  EXPECT_EQ(kNoRecord, m_table.ListRecordsNext(nullptr));
  int id = 0;
  EXPECT_EQ(kOk, m_table.addRecord("a,1", &id, 0));
  EXPECT_EQ(1, id);
  fs::remove_all(Path(kTablePath));
  TakeLines();
  EXPECT_EQ(kNotFound, m_table.recover());
  EXPECT_EQ(kNotClearable, m_table.clear());
  EXPECT_EQ(Lines{}, TakeLines());
}

}  // namespace
}  // namespace KivDB
