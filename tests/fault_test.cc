// Faults: calls that fail, memory that runs out, threads that are cancelled and
// processes that die, at every call that an operation makes.

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <functional>

#include "replaced_calls.h"
#include "test_util.h"

namespace KivDB {
namespace {

// A call fails while this lives.
class CFailing {
 public:
  CFailing(const char* call, int error) {
    plan.failing = call;
    plan.error = error;
  }
  ~CFailing() { plan = Plan(); }
};

class FaultTest : public CTableTest {
 protected:
  using Operation = std::function<int()>;

  FaultTest() { PutFile("creation.ini", kCreationFile); }

  // Puts a record 7 and nothing else into the table, the only one of its root,
  // and makes another root with a table.
  void Reset() {
    for (const char* made : {"kiv/database", "kiv/schema/new", "created"}) {
      fs::remove_all(Path(made));
    }
    PutRecord("7", "old|1|");
    PutFile("other/kiv/schema/t", "id[int]|a[int]");
    PutFile("other/kiv/database/t/1", "1|");
    TakeLines();
  }

  // The two ways to write record 7 again, both with new and 2.
  std::vector<Operation> Writers() {
    return {[this] { return m_table.addRecord("7,new,2", nullptr, 0); },
            [this] { return m_table.updateRecord("7", "size=2,name=new"); }};
  }

  // The operations, on a table with a record 7.
  std::vector<std::pair<std::string, Operation>> Operations() {
    return {
        {"open", [this] { return m_table.Open(); }},
        {"read", [this] { return m_table.readRecord("7"); }},
        {"list",
         [this] {
           std::vector<CColumn*> columns;
           return m_table.ListRecordsStart(columns, "name=old,size=1");
         }},
        {"count", [this] { return m_table.records() < 0 ? kInvalid : kOk; }},
        {"add", [this] { return m_table.addRecord("8,a,2", nullptr, 0); }},
        {"replace",
         [this] { return m_table.addRecord("7,new,2", nullptr, 0); }},
        {"allocate",
         [this] {
           int id = 0;
           return m_table.addRecord("a,2", &id, 0);
         }},
        {"update", [this] { return m_table.updateRecord("7", "name=new"); }},
        {"delete", [this] { return m_table.deleteRecord("7"); }},
        {"recover", [this] { return m_table.recover(); }},
        {"clear", [this] { return m_table.clear(); }},
        {"drop",
         [root = Path("other")] {
           CKivDatabase database;
           database.open(root.c_str());
           return database.drop();
         }},
        {"open a database",
         [this] {
           CKivDatabase database;
           return database.open(m_root.c_str());
         }},
        {"add a table",
         [this] {
           CKivDatabase database;
           database.open(m_root.c_str());
           return database.AddTable("new", "id(int),name(varchar)");
         }},
        {"create",
         [root = Path("created"), ini = Path("creation.ini")] {
           CKivDatabase database;
           database.open(root.c_str());
           return database.Create(ini.c_str(), 1, "h");
         }},
    };
  }

  static std::size_t CountDescriptors() {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
      count += entry.exists() ? 1U : 0U;
    }
    return count;
  }

  static constexpr const char* kCreationFile =
      "[first]\n[t]\nschema = id[int]|a[varchar]\nrec_1 = 1,{{$kivhost}}\n";
};

// Every failure of a save, with what it leaves: the file and the temporary one.
TEST_F(FaultTest, FailedSaveLeavesWhatItSays) {
  const struct {
    const char* call;
    int error;
    const char* line;
    const char* file;
    const char* temporary;
  } kFailures[] = {
      {"create", EMFILE,
       "error 8: safe_save: failed to create record file %.tmp (Too many open "
       "files)",
       "old|1|", "left"},
      {"safe_write", ENOSPC,
       "error 20: safe_save: safe_write to file %.tmp failed (No space left on "
       "device)",
       "old|1|", ""},
      {"safe_fsync", EIO,
       "error 20: safe_save: error during safe_fsync of %.tmp (Input/output "
       "error)",
       "old|1|", "new|2|"},
      {"rename_dirfsync", EIO,
       "error 20: safe_save: failed to rename record file from [%.tmp] to [%] "
       "(Input/output error).",
       "(no file)", "new|2|"},
  };
  for (const auto& c : kFailures) {
    SCOPED_TRACE(c.call);
    std::string line = c.line;
    for (auto at = line.find('%'); at != line.npos; at = line.find('%')) {
      line.replace(at, 1, RecordPath("7"));
    }
    for (const auto& write : Writers()) {
      Reset();
      PutRecord("7.tmp", "left");
      {
        const CFailing failing(c.call, c.error);
        EXPECT_EQ(kInvalid, write());
      }
      const Lines lines = TakeLines();
      ASSERT_LE(2U, lines.size());
      EXPECT_EQ(line, lines[lines.size() - 2]);
      EXPECT_EQ("error 20: Error occur when saving record!", lines.back());
      EXPECT_EQ(c.file, GetRecord("7"));
      EXPECT_EQ(c.temporary, GetRecord("7.tmp"));
    }
  }
}

TEST_F(FaultTest, ReadErrorsAreNeverAShorterResult) {
  Reset();
  CKivDatabase database;
  int id = 99;
  {
    const CFailing failing("readdir", EIO);
    EXPECT_EQ(kNotFound, m_table.ListRecordsStart(nullptr));
    EXPECT_EQ(kNoRecord, m_table.ListRecordsNext(nullptr));
    EXPECT_EQ(-1, m_table.records());
    EXPECT_EQ(UINT_MAX, m_table.get_max_id());
    EXPECT_EQ(kNoSchemaDirectory, database.open(m_root.c_str()));
    EXPECT_EQ(Lines{}, TakeLines());
    EXPECT_EQ(kInvalid, m_table.addRecord("new,2", &id, 0));
    EXPECT_EQ(Lines{"error 20: Error occur when saving record!"}, TakeLines());
    EXPECT_EQ(99, id);
  }
  {
    const CFailing failing("read", EIO);
    EXPECT_EQ(kRecordUnreadable, m_table.readRecord("7"));
    EXPECT_EQ(kSchemaUnreadable, m_table.Open());
    const std::string ini = Path("creation.ini");
    EXPECT_EQ(kNoRecord, database.Create(ini.c_str(), 1, nullptr));
    EXPECT_EQ((Lines{"error 8: failed to open record file: " + RecordPath("7"),
                     WithRoot("error 4: failed to open schema file: "
                              "%/kiv/schema/hosts"),
                     "error 12: Can't get value [" + ini + "]"}),
              TakeLines());
  }
  EXPECT_EQ(Names{"7"}, ListRecords());
}

// A process that dies leaves the old record, the whole new one, or none and the
// whole new one in the temporary file.
TEST_F(FaultTest, DyingAnywhereLosesNothing) {
  for (const auto& write : Writers()) {
    int died = 0;
    bool isDone = false;
    while (!isDone) {
      Reset();
      const pid_t child = fork();
      if (child == 0) {
        plan.action = Action::kExit;
        plan.at = died + 1;
        _exit(write());
      }
      int status = 0;
      ASSERT_EQ(child, waitpid(child, &status, 0));
      isDone = WEXITSTATUS(status) == kOk;
      died += isDone ? 0 : 1;
      const std::string file = GetRecord("7");
      const std::string temporary = GetRecord("7.tmp");
      const bool isWhole = file == "old|1|" || file == "new|2|" ||
                           (file == "(no file)" && temporary == "new|2|");
      EXPECT_TRUE(isWhole) << died << ": " << file << ", " << temporary;
    }
    EXPECT_EQ("new|2|", GetRecord("7"));
    EXPECT_LT(8, died);
  }
}

TEST_F(FaultTest, CancelledThreadsLeaveNothingBehind) {
  for (const auto& operation : Operations()) {
    Reset();
    m_table.records();  // opens the cursor, which stays open
    const std::size_t descriptors = CountDescriptors();
    int cancelled = 0;
    bool isDone = false;
    for (int n = 1; !isDone; ++n) {
      Reset();
      Plan planned;
      planned.action = Action::kCancel;
      planned.at = n;
      struct Call {
        const Operation& run;
        const Plan& plan;
      } call = {operation.second, planned};
      pthread_t thread;
      const auto body = [](void* argument) -> void* {
        const auto* what = static_cast<Call*>(argument);
        plan = what->plan;
        what->run();
        plan = Plan();
        return nullptr;
      };
      ASSERT_EQ(0, pthread_create(&thread, nullptr, body, &call));
      void* result = nullptr;
      ASSERT_EQ(0, pthread_join(thread, &result));
      isDone = result != PTHREAD_CANCELED;
      cancelled += isDone ? 0 : 1;
      Reset();
      EXPECT_EQ(1, m_table.records()) << "the mutex is free";
      EXPECT_EQ(descriptors, CountDescriptors()) << operation.first << n;
    }
    EXPECT_EQ(operation.first != "delete", cancelled > 0) << operation.first;
  }
}

TEST_F(FaultTest, LackOfMemoryIsAStatus) {
  ZelSetSink([](ZelLevel, int, const char*) {});
  for (const auto& operation : Operations()) {
    Reset();
    m_table.records();
    const std::size_t descriptors = CountDescriptors();
    int status = kNoMemory;
    for (int n = 1; status != kOk; ++n) {
      Reset();
      plan.at = n;
      plan.action = Action::kFailMemory;
      status = operation.second();
      plan = Plan();
      EXPECT_NE(kNoColumn, status);
      EXPECT_EQ(kOk, m_table.Open()) << operation.first << n;
      EXPECT_LE(0, m_table.records());
      EXPECT_EQ(descriptors, CountDescriptors()) << operation.first << n;
      if (status == kOk && operation.first == "create") {
        EXPECT_EQ("h|", GetFile("created/kiv/database/t/1")) << n;
      }
      ASSERT_GT(1000, n);
    }
  }
}

}  // namespace
}  // namespace KivDB
