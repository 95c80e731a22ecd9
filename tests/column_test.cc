// Columns, text helpers and the directory iterator.

#include "test_util.h"

namespace KivDB {
namespace {

TEST(Column, TakesNameAndTypeFromASpec) {
  const struct {
    const char* spec;
    int status;
    const char* name;  // after a column named old
  } kSpecs[] = {
      {"port[int]", kOk, "port"},     {"size[bigint]xyz", kOk, "size"},
      {"note[varchar", kOk, "note"},  {"[int]", kOk, ""},
      {"a[int]b[varchar]", kOk, "a"}, {"a]b[int]", kOk, "a]b"},
      {" a [int]", kOk, " a "},       {"a[ int]", kUnknownType, "a"},
      {"a[INT]", kUnknownType, "a"},  {"a[]", kUnknownType, "a"},
      {"plain", kNoType, "old"},      {nullptr, kNoType, "old"},
  };
  for (const auto& c : kSpecs) {
    SCOPED_TRACE(c.spec ? c.spec : "null");
    CColumn column("old");
    EXPECT_EQ(c.status, column.SetInfo(c.spec));
    EXPECT_STREQ(c.name, column.name());
  }
}

TEST(Column, ReadsValuesAsIntegers) {
  const struct {
    const char* value;
    int status32;
    int value32;
    int status64;
    long value64;
  } kValues[] = {
      {nullptr, kOk, 0, kOk, 0},
      {"", kOk, 0, kOk, 0},
      {"42", kOk, 42, kOk, 42},
      {"-7", kOk, -7, kOk, -7},
      {" 5", kOk, 5, kOk, 5},
      {"5 ", kInvalid, 5, kInvalid, 5},
      {"12abc", kInvalid, 12, kInvalid, 12},
      {"abc", kInvalid, 0, kInvalid, 0},
      {"9000000000", kOk, 410065408, kOk, 9000000000},
      {"99999999999999999999", kOk, -1, kOk, 9223372036854775807},
  };
  for (const auto& c : kValues) {
    SCOPED_TRACE(c.value ? c.value : "none");
    CColumn column("n");
    if (c.value != nullptr) {
      ASSERT_EQ(kOk, column.SetData(c.value));
    }
    int value32 = 99;
    long value64 = 99;
    EXPECT_EQ(c.status32, column.GetDataInt(value32));
    EXPECT_EQ(c.value32, value32);
    EXPECT_EQ(c.status64, column.GetDataBigInt(value64));
    EXPECT_EQ(c.value64, value64);
  }
}

TEST(Column, KeepsItsOwnCopyOfAValue) {
  CColumn column;
  EXPECT_EQ(nullptr, column.data());
  const CColumn copyOfNone(column);
  EXPECT_STREQ("", copyOfNone.data());
  EXPECT_EQ(kOk, column.SetData("alpha"));
  const CColumn copy(column);
  EXPECT_EQ(kOk, column.SetData(column.data() + 2));  // of its own value
  EXPECT_STREQ("pha", column.data());
  EXPECT_STREQ("alpha", copy.data());
  char text[4] = "old";
  EXPECT_EQ(kOk, copy.GetDataStr(text, sizeof(text)));
  EXPECT_STREQ("alp", text);
  EXPECT_EQ(kInvalid, copy.GetDataStr(text, 0));
  EXPECT_EQ(kInvalid, copy.GetDataStr(nullptr, 4));
  EXPECT_EQ(kOk, column.SetData(nullptr));
  EXPECT_STREQ("", column.data());
}

TEST(Utils, RemoveBlanks) {
  const struct {
    const char* text;
    const char* trimmed;
    const char* stripped;
  } kTexts[] = {
      {"  a b  ", "a b", "ab"},
      {" \t\n\v\f\r", "", ""},
      {"", "", ""},
      {"\xa0\x85 a", "\xa0\x85 a",
       "\xa0\x85"
       "a"},
      {"a", "a", "a"},
  };
  for (const auto& c : kTexts) {
    std::string trimmed = c.text;
    CUtils::trim(trimmed.data());
    EXPECT_STREQ(c.trimmed, trimmed.c_str());
    std::string stripped = c.text;
    CUtils::strstrip(stripped.data());
    EXPECT_STREQ(c.stripped, stripped.c_str());
  }
  CUtils::trim(nullptr);
  CUtils::strstrip(nullptr);
}

using DirIteratorTest = CRootTest;

TEST_F(DirIteratorTest, DoesNothingWhenClosed) {
  CDirIterator none;
  EXPECT_EQ(-1, none.open());
  EXPECT_EQ(-1, none.open(Path("missing")));
  EXPECT_EQ(nullptr, none.read());
  EXPECT_EQ(0, none.tell());
  dirent entry;
  dirent* result = &entry;
  EXPECT_EQ(0, none.read(&entry, &result));
  EXPECT_EQ(&entry, result);
  none.rewind();
  none.seek(1);
  none.close();
}

TEST_F(DirIteratorTest, WalksAndGoesBack) {
  PutFile("a/one", "");
  PutFile("b/two", "");
  CDirIterator iterator(Path("a"));
  ASSERT_EQ(0, iterator.open(Path("b")));
  ASSERT_EQ(0, iterator.open());  // the constructor's path again
  Names names;
  while (const dirent* entry = iterator.read()) names.insert(entry->d_name);
  EXPECT_EQ((Names{".", "..", "one"}), names);
  iterator.rewind();
  ASSERT_NE(nullptr, iterator.read());
  const long position = iterator.tell();
  const std::string second = iterator.read()->d_name;
  iterator.seek(position);
  dirent entry;
  dirent* result = nullptr;
  ASSERT_EQ(0, iterator.read(&entry, &result));
  EXPECT_EQ(second, result->d_name);
}

}  // namespace
}  // namespace KivDB
