// Faults: calls that fail, memory that runs out, threads that are cancelled and
// processes that die, at every call that an operation makes.

#include <sys/wait.h>

#include <cerrno>
#include <climits>
#include <functional>
#include <iterator>
#include <thread>

#include "replaced_calls.h"
#include "test_util.h"

namespace KivDB {

struct Operation {
  const char* name;
  std::function<int()> run;
};

struct Opened : CKivDatabase {
  explicit Opened(const char* root) { open(root); }
};

class FaultTest : public TableTest {
 protected:
  FaultTest() {
    EXPECT_EQ(0, chdir(m_root.c_str()));
    Put("ini",
        "[first]\n[t]\nschema = id[int]|a[varchar]\nrec_1 = 1,{{$kivhost}}\n");
  }

  // Puts a record 7 and nothing else into the table, the only one of its root.
  void Reset() {
    for (const char* made : {"kiv", "made"}) fs::remove_all(made);
    Put("kiv/schema/hosts", "id[int]|name[varchar]|size[bigint]");
    Put("kiv/database/hosts/7", "old|1|");
    m_columns = {};
    Log();
  }

  // What record 7 and its temporary file hold.
  static std::string State() {
    return Get("kiv/database/hosts/7") + " " + Get("kiv/database/hosts/7.tmp");
  }

  // The two ways to write record 7 again, and then all other operations.
  std::vector<Operation> m_operations = {
      {"add", [&] { return m_table.addRecord("7,new,2", nullptr, 0); }},
      {"update", [&] { return m_table.updateRecord("7", "size=2,name=new"); }},
      {"long", [&] { return m_table.addRecord(m_long.c_str(), nullptr, 0); }},
      {"allocate", [&] { return m_table.addRecord("a,2", &m_id, 0); }},
      {"open", [&] { return m_table.Open(); }},
      {"read", [&] { return m_table.readRecord("7"); }},
      {"list", [&] { return m_table.ListRecordsStart(m_columns, "size=1"); }},
      {"count", [&] { return m_table.records() < 0 ? kInvalid : kOk; }},
      {"delete", [&] { return m_table.deleteRecord("7"); }},
      {"recover", [&] { return m_table.recover(); }},
      {"clear", [&] { return m_table.clear(); }},
      {"drop", [] { return Opened(".").drop(); }},
      {"open all", [] { return Opened(".").open(); }},
      {"table", [] { return Opened(".").AddTable("new", "a(int)"); }},
      {"create", [] { return Opened("made").Create("ini", 1, "h"); }}};
  const std::string m_long = "8,2," + std::string(5000, 'x');
  std::vector<CColumn*> m_columns;
  int m_id = 99;
};

// Every failure of a save, with what it leaves.
TEST_F(FaultTest, FailedSaveLeavesWhatItSays) {
  const Case kFailures[] = {
      {"create", EMFILE, "old|1| left",
       "E8 safe_save: failed to create record file %/kiv/database/hosts/7.tmp "
       "(Too many open files)"},
      {"write", ENOSPC, "old|1| ",
       "E20 safe_save: safe_write to file %/kiv/database/hosts/7.tmp failed "
       "(No space left on device)"},
      {"fsync", EIO, "old|1| new|2|",
       "E20 safe_save: error during safe_fsync of %/kiv/database/hosts/7.tmp "
       "(Input/output error)"},
      {"rename", EIO, "(none) new|2|",
       "E20 safe_save: failed to rename record file from "
       "[%/kiv/database/hosts/7.tmp] to [%/kiv/database/hosts/7] "
       "(Input/output error)."}};
  for (const Case& c : kFailures) {
    for (const unsigned writer : {0U, 1U}) {
      Reset();
      Put("kiv/database/hosts/7.tmp", "left");
      plan = {c.in.c_str(), c.status};
      EXPECT_EQ(kInvalid, m_operations[writer].run()) << c.in;
      plan = {};
      EXPECT_EQ(c.out, State());
      const std::string log = Log();  // the removal of the old record, maybe
      EXPECT_EQ(c.log + "\nE20 Error occur when saving record!\n",
                log.substr(log.find('E')));
    }
  }
}

TEST_F(FaultTest, ReadErrorsAreNeverAShorterResult) {
  Reset();
  CKivDatabase database;
  plan = {"readdir", EIO};
  EXPECT_EQ(kNotFound, m_table.ListRecordsStart(nullptr));
  EXPECT_EQ(kNoRecord, m_table.ListRecordsNext(nullptr));
  EXPECT_EQ(-1, m_table.records());
  EXPECT_EQ(UINT_MAX, m_table.get_max_id());
  EXPECT_EQ(kNotFound, m_table.recover());
  EXPECT_EQ(kNotClearable, m_table.clear());
  EXPECT_EQ(kNoSchemaDirectory, database.open("."));
  EXPECT_EQ(kInvalid, m_table.addRecord("new,2", &m_id, 0));
  EXPECT_EQ("E20 Error occur when saving record!\n", Log());
  EXPECT_EQ(99, m_id);
  plan = {"read", EIO};
  EXPECT_EQ(kRecordUnreadable, m_table.readRecord("7"));
  EXPECT_EQ(kSchemaUnreadable, m_table.Open());
  EXPECT_EQ(kNoRecord, database.Create("ini", 1, nullptr));
  plan = {};
  EXPECT_EQ(
      "E8 failed to open record file: %/kiv/database/hosts/7\n"
      "E4 failed to open schema file: %/kiv/schema/hosts\n"
      "E12 Can't get value [ini]\n",
      Log());
  EXPECT_EQ("7 ", List("kiv/database/hosts"));
}

// A process that dies leaves the old record, the whole new one, or none and the
// whole new one in the temporary file.
TEST_F(FaultTest, DyingAnywhereLosesNothing) {
  for (const unsigned writer : {0U, 1U}) {
    int calls = 0;
    int status = -1;
    while (status != kOk) {
      Reset();
      const pid_t child = fork();
      if (child == 0) {
        plan.action = Action::kExit;
        plan.at = calls + 1;
        _exit(m_operations[writer].run());
      }
      ASSERT_EQ(child, waitpid(child, &status, 0));
      ++calls;
      const std::string left = State();
      EXPECT_TRUE(left.find("old|1| ") == 0 || left.find("new|2| ") == 0 ||
                  left == "(none) new|2|")
          << calls << ": " << left;
    }
    EXPECT_EQ("new|2| (none)", State());
    EXPECT_LT(8, calls);
  }
}

// A thread that is cancelled or has no memory leaves no lock and no descriptor.
TEST_F(FaultTest, StoppingAnywhereLeavesNothingBehind) {
  const auto countDescriptors = [] {
    const fs::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
  };
  ZelSetSink([](ZelLevel, int, const char*) {});  // needs no memory
  for (const Operation& operation : m_operations) {
    for (const Action action : {Action::kCancel, Action::kFailMemory}) {
      Reset();
      m_table.records();  // opens the cursor, which stays open
      const auto descriptors = countDescriptors();
      int n = 0;
      int status = kOk;
      do {
        SCOPED_TRACE(operation.name + std::to_string(++n));
        ASSERT_GT(1000, n);
        Reset();
        status = kNoColumn;  // the result of none
        std::thread([&] {
          plan = {nullptr, 0, action, n};
          status = operation.run();
          plan = {};
        }).join();
        EXPECT_TRUE(status != kNoColumn || action == Action::kCancel);
        if (status == kOk && fs::exists("made")) {
          EXPECT_EQ("h|", Get("made/kiv/database/t/1"));
        }
        Reset();
        EXPECT_EQ(kOk, m_table.Open());
        EXPECT_EQ(1, m_table.records());
        EXPECT_EQ(descriptors, countDescriptors());
      } while (status != kOk);
      if (action == Action::kCancel) {
        EXPECT_EQ(std::string("delete") != operation.name, n > 1);
      }
    }
  }
}

// The first record makes room for the values of those that follow.
TEST_F(FaultTest, ListingAllocatesNothingPerRecord) {
  Reset();
  for (int i = 10; i < 30; ++i) {
    Put("kiv/database/hosts/" + std::to_string(i),
        std::string(90, 'x') + "|2|");
  }
  for (const char* condition : {static_cast<const char*>(nullptr), "size=2"}) {
    ASSERT_EQ(kOk, m_table.ListRecordsStart(condition));
    plan = {nullptr, 0, Action::kFailMemory, INT_MAX};  // counts only
    int status = kOk;
    while (status == kOk) status = m_table.ListRecordsNext(condition);
    const int allocations = std::exchange(plan, {}).calls;
    EXPECT_EQ(kNoRecord, status);
    EXPECT_EQ(0, allocations);
  }
}

}  // namespace KivDB
