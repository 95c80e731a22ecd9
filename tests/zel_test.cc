// The stand-in platform library: texts, ini files, trees, files.

#include "zel.h"

#include <sys/stat.h>

#include "test_util.h"

using KivDB::Put;
using ZelTest = KivDB::RootTest;
using Texts = std::vector<std::string>;

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

TEST(TextTest, ReplacesAndCopiesWithinBounds) {
  const std::tuple<size_t, Texts> kCases[] = {
      // the size; text, pattern, replacement and result, which may not fit
      {7, {"a.b.", ".", "--", "a--b--"}}, {6, {"a.b.", ".", "--", ""}},
      {9, {"xaax", "a", "aa", "xaaaax"}}, {4, {"aaa", "aa", "b", "ba"}},
      {6, {"aabab", "ab", "", "a"}},      {5, {"none", "", "yy", "none"}}};
  for (const auto& [size, c] : kCases) {
    std::vector<char> bytes(size);  // the sanitizer sees its end
    const char* text = zelstrcpy(bytes.data(), c[0].c_str(), size);
    const char* result =
        StringFindAndReplaceA(bytes.data(), size, c[1].c_str(), c[2].c_str());
    EXPECT_EQ(c[3].empty() ? nullptr : text, result);
    EXPECT_EQ(c[3].empty() ? c[0] : c[3], text);
  }
  char out[] = "######";
  EXPECT_STREQ("abc", zelstrcpy(out, "abcdef", 4));
  EXPECT_STREQ("xy", zelstrncpy(out, "xyz", 4, 2));
}

TEST_F(ZelTest, WritesLinesToStandardError) {
  ZelSetSink(nullptr);
  const int kept = dup(STDERR_FILENO);
  ASSERT_NE(nullptr, freopen("lines", "w", stderr));
  ErrorA(20, "%s!", "no");
  InfoA(0, "%i", 7);
  for (const bool on : {false, true, false}) {
    ZelSetTrace(on);
    __Trace("trace");
  }
  ErrorA(-1, "%s", std::string(20000, 'x').c_str());
  dup2(kept, STDERR_FILENO);
  close(kept);
  EXPECT_EQ("error 20: no!\ninfo 0: 7\ntrace: trace\nerror -1: " +
                std::string(12288 - 11, 'x') + "\n",
            KivDB::Get("lines"));
}

TEST_F(ZelTest, ReadsIniValues) {
  const std::string text(70000, 'v');
  Put("ini", "[a b]\nk k=\\n\\\n;c=1\n # d=2\n[b]\nlong=" + text);
  EXPECT_EQ("\\n\\", Value("ini", "a b", "k k"));
  EXPECT_EQ("none", Value("ini", "A b", "k k"));
  EXPECT_EQ("none", Value("ini", "a b", ";c"));
  EXPECT_EQ("none", Value("ini", "a b", "# d"));
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
  Put("open", "[a]\nk=v\n[b\n");
  Put("empty", "[a]\nk=v\n[ ]");
  Put("nul", std::string("[a]\nk=v\0", 8));
  for (const char* path : {".", "missing", "fifo", "open", "empty", "nul"}) {
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
    Put("ini", "[a]\nk=" + value);
    EXPECT_EQ(value, Value("ini", "a", "k"));
    // Now and then the file rests until its parsed form is kept.
    if (i % 100 == 0) usleep(60000);
    EXPECT_EQ(value, Value("ini", "a", "k"));
  }
  reader.join();
}

TEST_F(ZelTest, MakesAndRemovesTreesAndRenames) {
  EXPECT_TRUE(CreateTreeA("t//a/b/", 0700));
  EXPECT_TRUE(CreateTreeA("out", 0700));
  EXPECT_TRUE(CreateTreeA("out", 0700));
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

  EXPECT_EQ(0, rename_dirfsync("out/file", "b", ".", 0));
  EXPECT_EQ(-1, rename_dirfsync("b", "a", "a", 0));
  EXPECT_EQ(ENOTDIR, errno);
}
