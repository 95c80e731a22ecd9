// The stand-in platform library: texts, ini files, trees, files, log lines.

#include "zel.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

class ZelTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(0, chdir(mkdtemp(m_root.data()))); }
  void TearDown() override { fs::remove_all(m_root); }

  std::string m_root = "/tmp/zel_test.XXXXXX";
};

const char* Put(const char* name, const std::string& text) {
  std::ofstream(name) << text;
  return name;
}

// The value, and the result behind it where that is not the value's length.
std::string Value(const char* path, const char* section, const char* key,
                  unsigned size = 100) {
  std::string out(size, '?');
  const int length =
      InifileGetValueA(section, key, out.data(), size, "none", path);
  out.resize(strnlen(out.c_str(), size));
  const bool whole = length == static_cast<int>(out.size());
  return whole ? out : out + ":" + std::to_string(length);
}

TEST(TextTest, TakesTokens) {
  char text[] = "a||b|\0ab\0c\0\0d";
  const char* const kParts[] = {"a", "", "b", nullptr};
  char* cursor = text;
  for (const char* c : kParts) EXPECT_STREQ(c, StringGetNextA(&cursor, '|'));
  const char* const kNames[] = {"ab", "c", nullptr};
  cursor = text + 6;
  for (const char* c : kNames) EXPECT_STREQ(c, StringGetNextA(&cursor, '\0'));
}

TEST(TextTest, UndoesEscapeSequences) {
  const Texts kCases[] = {
      {R"(\\\n\r\t.)", "\\\n\r\t."},    {R"(\x7c\x2C\x10)", "|,\x10"},
      {R"(\x00\q\x4)", R"(\x00\q\x4)"}, {R"(\xg1\)", R"(\xg1\)"},
      {"abcdefghijkl", "abcdefghi"},    {R"(abcdefgh\n|)", "abcdefgh\n"},
      {R"(abcdefghi\n)", "abcdefghi"},  {"", ""},
  };
  for (const Texts& c : kCases) {
    char output[] = "###########";
    StringUnescapeA(c[0].c_str(), output, 10);
    EXPECT_EQ(c[1], output);
    EXPECT_EQ('#', output[10]) << c[0];
  }
}

TEST(TextTest, ReplacesAndCopiesWithinBounds) {
  const struct {
    const char *text, *pattern, *replacement, *result;  // null: no room
    size_t size;
  } kCases[] = {
      {"a.b.", ".", "--", "a--b--", 7}, {"a.b.", ".", "--", nullptr, 6},
      {"xaax", "a", "aa", "xaaaax", 9}, {"aaa", "aa", "b", "ba", 4},
      {"aabab", "ab", "", "a", 6},      {"none", "x", "yy", "none", 5},
      {"none", "", "yy", "none", 5},    {"id=ID", "ID", "42", "id=42", 6},
  };
  for (const auto& c : kCases) {
    std::vector<char> bytes(c.size);  // the sanitizer sees its end
    const char* text = zelstrcpy(bytes.data(), c.text, c.size);
    const bool fits = StringFindAndReplaceA(bytes.data(), c.size, c.pattern,
                                            c.replacement) != nullptr;
    EXPECT_EQ(c.result != nullptr, fits) << c.text;
    EXPECT_STREQ(fits ? c.result : c.text, text);
  }
  char out[] = "######";
  EXPECT_STREQ("abc", zelstrcpy(out, "abcdef", 4));
  EXPECT_STREQ("xy", zelstrncpy(out, "xyz", 4, 2));
}

TEST_F(ZelTest, ReadsIniValues) {
  const std::string text(70000, 'v');
  Put("ini",
      "early=1\n[ a b ]\r\n k k\t= v = 1 ; 2 \r\nk k=2\n;c=1\n # d=2\n"
      "in = \" x, \"\ntwo=\"a\" \"b\"\none=\"\n[b]\nnoise\nlong=" +
          text + "\n[a b]\nlast=\\n\\");
  const Texts kCases[] = {
      {"a b", "k k", "v = 1 ; 2"}, {"a b", "early", "none"},
      {"a b", ";c", "none"},       {"a b", "# d", "none"},
      {"a b", "in", " x, "},       {"a b", "two", "\"a\" \"b\""},
      {"a b", "one", "\""},        {"a b", "last", "\\n\\"},
      {"b", "last", "none"},       {"A b", "in", "none"},
  };
  for (const Texts& c : kCases) {
    EXPECT_EQ(c[2], Value("ini", c[0].c_str(), c[1].c_str())) << c[1];
  }
  EXPECT_EQ(text, Value("ini", "b", "long", 70001));
  EXPECT_EQ("vvv:70000", Value("ini", "b", "long", 4));
  EXPECT_EQ(":4", Value("ini", "b", "none", 0));
}

TEST_F(ZelTest, CutsTheSectionListAfterAName) {
  Put("ini", "[one]\n[ b ]\n[one]\n[cc]");
  const std::string list("one\0b\0cc\0", 9);
  for (const unsigned size : {1U, 4U, 5U, 6U, 7U, 9U, 10U, 20U}) {
    char out[] = "????????????????????";
    EXPECT_EQ(10, InifileGetValueA(nullptr, nullptr, out, size, "x", "ini"));
    const size_t kept = size < 5 ? 0 : size < 7 ? 4 : size < 10 ? 6 : 9;
    const std::string expected = list.substr(0, kept) + '\0' + '?';
    EXPECT_EQ(expected, std::string(out, kept + 2)) << size;
  }
}

TEST_F(ZelTest, RefusesWhatIsNoIniFile) {
  ASSERT_EQ(0, mkfifo("fifo", 0600));
  Put("nul", std::string("[a]\nk=v\0", 8));
  for (const char* path : {".", "missing", "fifo", Put("1", "[a]\nk=v\n[b\n"),
                           Put("2", "[a]\nk=v\n[ ]"), "nul"}) {
    EXPECT_EQ(":-1", Value(path, "a", "k")) << path;
    EXPECT_EQ(":-1", Value(path, nullptr, nullptr)) << path;
  }
}

TEST_F(ZelTest, SeesEveryChangeOfAnIniFileFromEveryThread) {
  Put("other", "[a]\nk=other");
  std::thread reader([] {
    for (int i = 0; i < 2000; ++i) EXPECT_EQ("other", Value("other", "a", "k"));
  });
  for (int i = 100; i < 400; ++i) {
    const std::string value = std::to_string(i);
    EXPECT_EQ(value, Value(Put("ini", "[a]\nk=" + value), "a", "k"));
    // Now and then the file rests until its parsed form is kept.
    if (i % 100 == 0) usleep(60000);
    EXPECT_EQ(value, Value("ini", "a", "k"));
  }
  reader.join();
}

TEST_F(ZelTest, ReadsAnIniFileAtRestOnce) {
  std::string text = "[a]\n";
  for (int i = 0; i < 20000; ++i) text += "rec_" + std::to_string(i) + "=x\n";
  Put("ini", text);
  usleep(60000);
  size_t before = 0;
  size_t after = 0;
  std::ifstream("/proc/self/io").ignore(7) >> before;
  for (int i = 0; i < 20000; ++i) {
    ASSERT_EQ("x", Value("ini", "a", ("rec_" + std::to_string(i)).c_str()));
  }
  std::ifstream("/proc/self/io").ignore(7) >> after;
  EXPECT_LT(after - before, 2 * text.size());
}

TEST_F(ZelTest, MakesAndRemovesTrees) {
  EXPECT_TRUE(CreateTreeA("t//a/b/", 0700));
  EXPECT_TRUE(CreateTreeA("out", 0700));
  EXPECT_TRUE(CreateTreeA("out/", 0700));
  Put("out/file", "");
  EXPECT_FALSE(CreateTreeA("out/file", 0700));
  EXPECT_EQ(ENOTDIR, errno);
  fs::create_symlink("../../out", "t/a/link");
  fs::create_symlink("out", "link");
  EXPECT_TRUE(DeleteTreeA("t"));
  EXPECT_TRUE(DeleteTreeA("link/"));
  EXPECT_TRUE(fs::exists("out/file"));
  EXPECT_FALSE(DeleteTreeA("t"));
  EXPECT_EQ(ENOENT, errno);
}

TEST_F(ZelTest, RenameFailsWithTheReason) {
  EXPECT_EQ(-1, rename_dirfsync("a", "b", ".", 0));
  EXPECT_EQ(ENOENT, errno);
  EXPECT_EQ(0, rename_dirfsync(Put("a", ""), "b", ".", 0));
  EXPECT_EQ(-1, rename_dirfsync("b", "a", "a", 0));
  EXPECT_EQ(ENOTDIR, errno);
}

}  // namespace
