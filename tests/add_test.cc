// Adding records and the safe save.

#include <sys/stat.h>

#include <climits>
#include <thread>

#include "test_util.h"

namespace KivDB {
namespace {

using AddTest = CTableTest;

TEST_F(AddTest, StoresTheFieldsOfARecordText) {
  const std::string cut(2047, 'c');
  const struct {
    std::string text;
    int status;
    const char* file;
    std::string content;
  } kTexts[] = {
      // with the id in the text
      {"7, alpha ,\t25 ", kOk, "7", "alpha|25|"},
      {"7,beta,26,", kOk, "7", "beta|26|"},  // replaces it
      {" +8x,a b,", kSyntax, "8", "(no file)"},
      {" +8x,a b, ", kOk, "8", "a b||"},
      {"9,,9", kOk, "9", "|9|"},
      {"none,a,b", kOk, "0", "a|b|"},
      {"4294967295,a,b", kOk, "-1", "a|b|"},
      {"10,a\\x7cb,\\n", kOk, "10", "a\\x7cb|\\n|"},
      {"11," + cut + "tail," + cut, kOk, "11", cut + "|" + cut + "|"},
      {"12,a\nb,c", kSyntax, "12", "(no file)"},
      {"13\n,\na,c\n", kOk, "13", "a|c|"},
      {"14,a", kSyntax, "14", "(no file)"},
      {"14,a,b,c", kSyntax, "14", "(no file)"},
      {"", kSyntax, "0.tmp", "(no file)"},
  };
  for (const auto& c : kTexts) {
    SCOPED_TRACE(c.text.substr(0, 20));
    TakeLines();
    EXPECT_EQ(c.status, m_table.addRecord(c.text.c_str(), nullptr, 1));
    EXPECT_EQ(c.content, GetRecord(c.file));
    if (c.status == kSyntax) {
      EXPECT_EQ(Lines{"error 11: record's syntax error "}, TakeLines());
    }
  }
  EXPECT_EQ(kInvalid, m_table.addRecord(nullptr, nullptr, 0));
  EXPECT_EQ((Names{"-1", "0", "7", "8", "9", "10", "11", "13"}), ListRecords());
  const auto mode = fs::status(RecordPath("7")).permissions();
  EXPECT_EQ(static_cast<fs::perms>(0640), mode);
}

TEST_F(AddTest, LogsTheReplacement) {
  PutRecord("7", "old|1|");
  EXPECT_EQ(kOk, m_table.addRecord("7,new,2", nullptr, 0));
  EXPECT_EQ(Lines{"info 0: remove old record file " + RecordPath("7") + "."},
            TakeLines());
}

TEST_F(AddTest, AllocatesTheIdAfterTheHighest) {
  const struct {
    const char* entry;  // put there first
    unsigned int maximum;
    int status;
    int id;
  } kSteps[] = {
      {nullptr, 0, kOk, 1},
      {nullptr, 2, kOk, 2},
      {nullptr, 2, kIdAboveMaximum, 99},
      {"7.tmp", 0, kOk, 8},
      {"20.ADD", 0, kOk, 9},
      {"2147483647", 0, kOk, INT_MIN},
      {"-1", 0, kOk, 0},
  };
  for (const auto& c : kSteps) {
    if (c.entry != nullptr) PutRecord(c.entry, "x|1|");
    TakeLines();
    int id = 99;
    EXPECT_EQ(c.status, m_table.addRecord("alpha,25", &id, c.maximum));
    EXPECT_EQ(c.id, id);
    if (c.status == kOk) {
      EXPECT_EQ("alpha|25|", GetRecord(std::to_string(id)));
    } else {
      EXPECT_EQ(Lines{"error 15: The new record's id(3) is greater than "
                      "specified max id(2)."},
                TakeLines());
    }
  }
  int id = 99;
  EXPECT_EQ(kSyntax, m_table.addRecord("1,alpha,25", &id, 0));
  fs::remove_all(Path(kTablePath));
  TakeLines();
  EXPECT_EQ(kInvalid, m_table.addRecord("alpha,25", &id, 0));
  EXPECT_EQ(99, id);
  EXPECT_EQ(Lines{"error 20: Error occur when saving record!"}, TakeLines());
}

TEST_F(AddTest, SavesOnlyToAFileOfItsOwn) {
  const std::string records = Path(kTablePath) + "/";
  const std::string outside = PutFile("outside", "precious");
  fs::create_symlink(outside, records + "1.tmp");
  ASSERT_EQ(0, mkfifo((records + "2.tmp").c_str(), 0600));
  fs::create_directory(records + "3.tmp");
  fs::create_directory(records + "4");
  for (const char* text : {"1,a,b", "2,a,b", "3,a,b", "4,a,b"}) {
    TakeLines();
    EXPECT_EQ(kInvalid, m_table.addRecord(text, nullptr, 0)) << text;
    EXPECT_EQ("error 20: Error occur when saving record!", TakeLines().back());
  }
  EXPECT_EQ("precious", GetFile("outside"));
  EXPECT_EQ((Names{"1.tmp", "2.tmp", "3.tmp", "4", "4.tmp"}), ListRecords());

  const std::string path = records + "5";
  EXPECT_EQ(-1, m_table.safe_save(nullptr, "", 0));
  EXPECT_EQ(-1, m_table.safe_save(path.c_str(), nullptr, 0));
  EXPECT_EQ(-1, m_table.safe_save(path.c_str(), "", -1));
  EXPECT_EQ(0, m_table.safe_save(path.c_str(), "a|b", 3));
  EXPECT_EQ("a|b", GetRecord("5"));
}

// The longest path that leaves room for ".tmp", and one byte more.
TEST_F(AddTest, RefusesAPathThatIsTooLong) {
  for (const std::size_t length : {4090U, 4091U}) {
    std::string root = m_root;
    const std::size_t rest = std::string("/kiv/database/t/1").size();
    while (root.size() + rest + 200 < length) {
      root += "/" + std::string(100, 'd');
    }
    root += "/" + std::string(length - root.size() - rest - 1, 'd');
    fs::create_directories(root + "/kiv/schema");
    fs::create_directories(root + "/kiv/database/t");
    std::ofstream(root + "/kiv/schema/t") << "id[int]|a[int]";
    CTable table(root.c_str(), "t");
    ASSERT_EQ(kOk, table.Open());
    TakeLines();
    int id = 0;
    const bool fits = length == 4090;
    EXPECT_EQ(fits ? kOk : kInvalid, table.addRecord("5", &id, 0));
    EXPECT_EQ(fits ? 1 : 0, table.records());
    if (!fits) {
      EXPECT_EQ(Lines{"error 20: Error occur when saving record!"},
                TakeLines());
    }
  }
}

TEST_F(AddTest, ThreadsNeverGetTheSameId) {
  constexpr int kThreads = 4;
  constexpr int kAdds = 25;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this] {
      for (int i = 0; i < kAdds; ++i) {
        int id = 0;
        EXPECT_EQ(kOk, m_table.addRecord("alpha,1", &id, 0));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(kThreads * kAdds, m_table.records());
  EXPECT_EQ(100U, m_table.get_max_id());
}

}  // namespace
}  // namespace KivDB
