// Columns, text helpers and the directory iterator.

#include "test_util.h"

namespace KivDB {

TEST(Column, ReadsValuesAsIntegers) {
  const std::tuple<const char*, int, int, long> kValues[] = {
      {"", kOk, 0, 0},
      {" -7", kOk, -7, -7},
      {"010", kOk, 10, 10},
      {"0x10", kInvalid, 0, 0},
      {"5 ", kInvalid, 5, 5},
      {"abc", kInvalid, 0, 0},
      {"9000000000", kOk, 410065408, 9000000000},
      {"99999999999999999999", kOk, -1, 9223372036854775807}};
  for (const auto& [value, status, value32, value64] : kValues) {
    CColumn column;
    int number = 99;
    long big = 99;
    EXPECT_EQ(kOk, column.GetDataInt(number));
    EXPECT_EQ(0, number) << "no value";
    ASSERT_EQ(kOk, column.SetData(value));
    EXPECT_EQ(status, column.GetDataInt(number)) << value;
    EXPECT_EQ(value32, number);
    EXPECT_EQ(status, column.GetDataBigInt(big));
    EXPECT_EQ(value64, big);
  }
}

TEST(Column, KeepsItsOwnCopyOfAValue) {
  CColumn column;
  EXPECT_EQ(nullptr, column.data());
  EXPECT_STREQ("", CColumn(column).data());
  EXPECT_EQ(kOk, column.SetData("alpha"));
  const CColumn copy(column);
  EXPECT_EQ(kOk, column.SetData(column.data()));
  EXPECT_STREQ("alpha", column.data());
  EXPECT_EQ(kOk, column.SetData(column.data() + 2));  // of its own value
  EXPECT_STREQ("pha", column.data());
  char text[4] = "old";
  EXPECT_EQ(kOk, copy.GetDataStr(text, sizeof(text)));
  EXPECT_STREQ("alp", text);
  EXPECT_EQ(kInvalid, copy.GetDataStr(text, 0));
  EXPECT_EQ(kInvalid, copy.GetDataStr(nullptr, 4));
  // Around the sizes at which a value gets more room.
  for (const std::size_t size : {255U, 256U, 511U, 512U, 513U, 9U, 5000U, 0U}) {
    const std::string value(size, 'x');
    EXPECT_EQ(kOk, column.SetData(size == 0 ? nullptr : value.c_str()));
    EXPECT_EQ(value, CColumn(column).data());
  }
  EXPECT_FALSE(column.isPrimaryKey());
  EXPECT_EQ(kNoType, column.SetInfo(nullptr));
}

TEST(Utils, RemoveBlanks) {
  char text[] = " \t a b\x85\xa0\n\v\f\r ";
  CUtils::trim(text);
  EXPECT_STREQ("a b\x85\xa0", text);
  CUtils::strstrip(text);
  EXPECT_STREQ("ab\x85\xa0", text);
  char blank[] = " \t\n";
  CUtils::trim(blank);
  EXPECT_STREQ("", blank);
  CUtils::trim(nullptr);
  CUtils::strstrip(nullptr);
}

TEST_F(RootTest, DirIteratorWalksAndGoesBack) {
  Put("a/one", "");
  CDirIterator iterator("a");
  EXPECT_EQ(nullptr, iterator.read()) << "closed";
  EXPECT_EQ(0, iterator.tell());
  iterator.rewind();
  iterator.seek(1);
  dirent entry;
  dirent* result = &entry;
  EXPECT_EQ(0, iterator.read(&entry, &result));
  EXPECT_EQ(&entry, result);
  ASSERT_EQ(0, iterator.open("."));
  EXPECT_EQ(-1, iterator.open("missing"));
  ASSERT_EQ(0, iterator.open()) << "the constructor's path again";
  std::set<std::string> names;
  while (const dirent* next = iterator.read()) names.insert(next->d_name);
  EXPECT_EQ((std::set<std::string>{".", "..", "one"}), names);
  iterator.rewind();
  ASSERT_NE(nullptr, iterator.read());
  const long position = iterator.tell();
  const std::string second = iterator.read()->d_name;
  iterator.seek(position);
  ASSERT_EQ(0, iterator.read(&entry, &result));
  EXPECT_EQ(second, result->d_name);
}

}  // namespace KivDB
