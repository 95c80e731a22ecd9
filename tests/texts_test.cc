// Escapes, the builders of texts, and what becomes of their values.

#include <optional>
#include <random>

#include "test_util.h"

namespace KivDB {
namespace {

using namespace std::literals;

template <typename... Types>
constexpr bool kAreValues =
    ((std::is_convertible_v<Types, const CValue&> &&
      std::is_constructible_v<CRecordText, Types>)&&...);
template <typename... Types>
constexpr bool kAreNone = ((!std::is_constructible_v<CValue, Types> &&
                            !std::is_constructible_v<CRecordText, Types>)&&...);

struct Name {
  explicit operator bool() const { return true; }
  operator std::string_view() const { return "name"; }  // NOLINT
};
enum Plain { kPlain };
enum class Scoped : int { kScoped };

static_assert(kAreValues<const char*, char*, char[8], const char (&)[8],
                         std::string, std::string_view, Name>);
static_assert(
    kAreValues<signed char, unsigned char, short, unsigned short, int, unsigned,
               long, unsigned long, long long, unsigned long long, const int&>);
static_assert(kAreNone<bool, char, wchar_t, char16_t, char32_t, float, double,
                       std::nullptr_t, std::optional<int>, Plain, Scoped, int*,
                       std::optional<std::string>, const wchar_t*, CColumn>);
static_assert(!std::is_copy_constructible_v<CValue>);

TEST_F(RootTest, EscapesWhatHasAMeaningAndNothingElse) {
  const std::string plain =
      "host-1.example.org:/srv/a b='c' {$x} ;#\"~\x80\xff";
  const std::pair<std::string, std::string> kTexts[] = {
      {"", ""},
      {plain, plain},
      {"a,b|c\\d", "a\\x2cb\\x7cc\\\\d"},
      {"\ta\nb\r", "\\ta\\nb\\r"},
      {"\v\f\x01\x1f\x7f", "\\x0b\\x0c\\x01\\x1f\\x7f"},
      {"  a b  ", "\\x20\\x20a b\\x20\\x20"},
      {" ", "\\x20"},
      {"\\x41\\n\\", "\\\\x41\\\\n\\\\"}};
  for (const auto& [value, text] : kTexts) {
    EXPECT_EQ(text, Escape(value));
    EXPECT_EQ(value, Unescape(text));
  }
  EXPECT_EQ("a\\x00b", Escape("a\0b"sv));
  EXPECT_EQ("\\x00\\q\\x4|,A\n\0\n\0"s,
            Unescape("\\x00\\q\\x4|,\\x41\n\0\\n\0"sv));
  EXPECT_EQ(std::string(5000, 'a'), Unescape(std::string(5000, 'a')));
}

TEST_F(RootTest, BuildsTexts) {
  const std::string big = std::to_string(LONG_MIN);
  char buffer[8] = "buf";
  EXPECT_EQ("a\\x2cb,7,buf,-128,name," + big,
            CRecordText("a,b", 7U, buffer, static_cast<signed char>(-128),
                        Name(), LONG_MIN)
                .c_str());
  EXPECT_STREQ("", CRecordText().c_str());
  EXPECT_STREQ(",", CRecordText("").c_str());
  EXPECT_STREQ(",,a,,", CRecordText("", ""s).Add("a"sv).Add("").c_str());
  EXPECT_STREQ("", CUpdateText().c_str());
  EXPECT_STREQ("a=b=c,d=,a=1",
               CUpdateText().Set("a", "b=c").Set("d", "").Set("a", 1).c_str());
  EXPECT_EQ(nullptr, CConditionText().c_str());
  CConditionText condition = CConditionText().Equals("id", 7);
  const CConditionText copy(condition.Equals("x", " "));
  condition = CConditionText().Equals("y", "z");
  EXPECT_STREQ("id=7,x=\\x20", copy.c_str());
  EXPECT_EQ("", copy.error() + Log());
}

// Each is logged once, stays, and does no harm.
TEST_F(TableTest, RefusesWhatCannotBeKept) {
  const std::string most(2047, 'a');
  const std::string over = most + "a";
  const std::string escaped(600, '|');
  const char* const null = nullptr;
  const std::string bad = "a blank, \",\" or \"=\" in the name";
  const std::pair<CRecordText, std::string> kRecords[] = {
      {CRecordText("a", most, null), "value 3: a null text"},
      {CRecordText(std::string_view()), "value 1: a null text"},
      {CRecordText("a", "b\0"sv), "value 2: a byte 0"},
      {CRecordText(over, null), "value 1: over 2047 bytes"},
      {CRecordText("a", escaped), "value 2: escaped, over 2047 bytes"}};
  const std::string built = Log();
  fs::create_directories("../any");
  std::string log;
  for (const auto& [record, error] : kRecords) {
    EXPECT_FALSE(record.ok());
    EXPECT_EQ(error, record.error());
    log += "E11 record text refused: " + error + "\n";
    const CRecordText later = CRecordText(record).Add("b").Add(null);
    EXPECT_EQ(error, later.error() + Log());
    for (const char* schema : {"id[int]", "id[int]|x[int]", "a|b[int]|c"}) {
      Put("../../schema/any", schema);
      CTable any(m_root.c_str(), "any");
      any.Open();
      int id = 0;
      EXPECT_EQ(kSyntax, any.addRecord(later.c_str(), nullptr, 0)) << schema;
      EXPECT_EQ(kSyntax, any.addRecord(later.c_str(), &id, 0)) << schema;
    }
    Log();
  }
  EXPECT_EQ(log, built);
  log.clear();
  const std::tuple<std::string, std::string_view, std::string> kPairs[] = {
      {"name", {}, "column [name]: a null text"},
      {"name", "\0"sv, "column [name]: a byte 0"},
      {"size", over, "column [size]: over 2047 bytes"},
      {"", "a", "column []: no name"},
      {"a b", "a", "column [a b]: " + bad},
      {"a\n", "a", "column [a\\n]: " + bad},
      {"a,b", "a", "column [a\\x2cb]: " + bad},
      {"=", "a", "column [=]: " + bad},
      {"a\0"s, "a", "column [a\\x00]: a byte 0 in the name"}};
  Put("7", "old|1|");
  for (const auto& [column, value, error] : kPairs) {
    CUpdateText update;
    CConditionText condition;
    update.Set("name", "new").Set(column, value).Set("size", 2);
    condition.Equals("name", "old").Equals(column, value);
    EXPECT_EQ(error + error, update.error() + condition.error());
    EXPECT_EQ(kSyntax, m_table.updateRecord("7", update.c_str()));
    EXPECT_EQ(kNoRecord, m_table.ListRecordsStart(condition.c_str()));
    log += "E11 update text refused: " + error + "\n" +
           "E11 condition refused: " + error + "\nE11 syntax error: no key\n";
  }
  EXPECT_EQ(log, Log());
  EXPECT_EQ("7 old|1|", List(".") + Get("7") + List("../any"));
  EXPECT_TRUE(CUpdateText().Set("name", escaped).ok()) << "is never cut";
}

TEST_F(TableTest, EveryValueComesBack) {
  std::mt19937 random(20);  // NOLINT(cert-msc*): the same each time
  const auto below = [&](std::size_t bound) { return random() % bound; };
  // Of bytes that have a meaning somewhere, and any others but 0.
  const auto make = [&](std::size_t longest) {
    const std::string special = "\\\\|,= \t\n\r\v\f\x7f\x01xn2c0\"'{};#\x80";
    const std::size_t kind = below(100);
    std::string value(kind < 15 ? 0 : below(kind < 95 ? 12 : longest + 1), ' ');
    for (char& c : value) {
      const auto any = static_cast<char>(1 + below(255));
      c = below(2) != 0 ? any : special[below(special.size())];
    }
    return value;
  };
  Put("8", "other|\\|");
  for (int i = 0; i < 1000; ++i) {
    std::string name = make(500);
    std::string size = make(500);
    const CRecordText record(7, name, size);
    ASSERT_EQ(kOk, m_table.addRecord(record.c_str(), nullptr, 0));
    for (const bool isUpdated : {false, true}) {
      if (isUpdated) {
        name = make(2047);
        size = make(2047);
        const auto update = CUpdateText().Set("name", name).Set("size", size);
        ASSERT_EQ(kOk, m_table.updateRecord("7", update.c_str()));
      }
      const auto both =
          CConditionText().Equals("name", name).Equals("size", size);
      ASSERT_EQ(kOk, m_table.ListRecordsStart(both.c_str()));
      ASSERT_EQ("7|" + name + "|" + size + "|", Values(m_table));
      ASSERT_EQ(kNoRecord, m_table.ListRecordsNext(both.c_str()));
    }
  }
}

}  // namespace
}  // namespace KivDB
