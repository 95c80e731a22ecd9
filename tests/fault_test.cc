// Faults: calls that fail, memory that runs out, threads that are cancelled and
// processes that die, at every call that an operation makes.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>

#include "base/renameat2.h"
#include "replaced_calls.h"
#include "test_util.h"

namespace KivDB {

// And the results that a call which fails may give.
struct Operation {
  std::string name;
  std::function<int()> run;
  std::set<int> failures;
};

struct Opened : CKivDatabase {
  explicit Opened(const char* root) { open(root); }
};

// With a root whose data directory is missing.
struct Again : Opened {
  Again() : Opened(".") { fs::remove_all("kiv/database"); }
};

class FaultTest : public TableTest {
 protected:
  FaultTest() : m_other(m_root.c_str(), "other") {
    EXPECT_EQ(0, chdir(m_root.c_str()));
    Reset();
    EXPECT_EQ(kOk, m_other.Open());
  }

  void StopAnywhere(Action action, int error = 0, int fails = INT_MAX);

  // Puts a record 7 and nothing else into the table, a long record into the
  // other one.  The creation file is too new to be kept in memory.
  void Reset() {
    for (const char* made : {"kiv", "made"}) fs::remove_all(made);
    Put("kiv/schema/hosts", "id[int]|name[varchar]|size[bigint]");
    Put("kiv/database/hosts/7", "old|1|");
    Put("kiv/schema/other", "id[int]|x[int]");
    Put("kiv/database/other/1", std::string(5000, 'x') + "|");
    Put("ini",
        "[first]\n[t]\nschema = id[int]|a[varchar]\nrec_1 = 1,{{$kivhost}}\n");
    m_columns = std::vector<CColumn*>();  // without room
    m_assigned = m_other;
    Log();
  }

  std::vector<int> Start() {
    Reset();
    EXPECT_EQ(kOk, m_table.Open());
    EXPECT_EQ(1, m_table.records());  // opens the cursor, which stays open
    return OpenDescriptors();
  }

  // All is assigned but a value, or nothing.
  int Assign() {
    m_assigned = m_table;
    const CColumn* size = m_assigned.getcolumn("size");
    EXPECT_EQ(size == nullptr, m_assigned.getcolumn("x") != nullptr);
    EXPECT_STREQ(size == nullptr ? "other" : "hosts", m_assigned.name());
    return size != nullptr && size->data() != nullptr ? kOk : kNoMemory;
  }

  int Read(const char* id) {
    const int status = m_table.readRecord(id);
    const CColumn* name = m_table.getcolumn("name");
    EXPECT_STREQ("old", status == kOk ? name->data() : "old");
    return status;
  }

  // A listing and a builder; only constructors throw.
  int Loop() {
    try {
      CConditionText condition;
      condition.Equals("size", 1).Equals("name", "old").Equals("id", 7);
      CListing listing(m_table, condition);
      for (const CRow& row : listing) {
        const bool isWhole = row.values().size() == row.size();
        EXPECT_TRUE(isWhole || kept == std::string("18 no memory"));
        if (!isWhole) return kNoMemory;
      }
      return listing.status();
    } catch (const std::bad_alloc&) {
      return kNoMemory;
    }
  }

  int Match(const char* condition) {
    const int status = m_table.readRecord("7");
    if (status != kOk) return status;
    return m_table.MatchColumn(condition) ? kOk : kNoMemory;
  }

  // Of a text: whole, or what stands for it without memory.
  static int Status(const std::string& text, const std::string& whole) {
    if (text == whole) return kOk;
    const bool isNone = text.empty() || text == "no memory" || text == "?\n?";
    return isNone ? kNoMemory : kInvalid;
  }

  // Needs no memory.
  static void KeepLine(ZelLevel /*level*/, int code, const char* text) {
    std::snprintf(kept, sizeof(kept), "%i %s", code, text);
  }
  static inline char kept[100];

  // What record 7 and its temporary file hold.
  static std::string State() {
    return Get("kiv/database/hosts/7") + " " + Get("kiv/database/hosts/7.tmp");
  }

  // The two ways to write record 7 again, and then all other operations.
  std::vector<Operation> m_operations = {
      {"add",
       [&] { return m_table.addRecord("7,new,2", nullptr, 0); },
       {kInvalid}},
      {"update",
       [&] { return m_table.updateRecord("7", "size=2,name=new"); },
       {kRecordUnreadable, kInvalid}},
      {"long",
       [&] { return m_table.addRecord(m_long.c_str(), nullptr, 0); },
       {kInvalid}},
      {"allocate",
       [&] { return m_table.addRecord("a,2", &m_id, 0); },
       {kInvalid}},
      {"assign", [&] { return Assign(); }, {}},
      {"open", [&] { return m_table.Open(); }, {kSchemaUnreadable}},
      {"read", [&] { return Read("7"); }, {kRecordUnreadable}},
      {"read long",
       [&] { return m_other.readRecord("1"); },
       {kRecordUnreadable}},
      {"list",
       [&] { return m_table.ListRecordsStart(m_columns, "size=1"); },
       {kNotFound}},
      {"loop", [&] { return Loop(); }, {kNotFound}},
      {"count",
       [&] { return m_table.records() < 0 ? kInvalid : kOk; },
       {kInvalid}},
      {"delete", [&] { return m_table.deleteRecord("7"); }, {kInvalid}},
      {"recover", [&] { return m_table.recover(); }, {kNotFound, kInvalid}},
      {"clear", [&] { return m_table.clear(); }, {kNotClearable, kInvalid}},
      {"drop",
       [] { return Opened(".").drop(); },
       {kNotEmpty, kNotClearable, kInvalid}},
      {"open all",
       [] { return Opened(".").open(); },
       {kSchemaUnreadable, kNoSchemaDirectory}},
      {"list long",
       [&] { return m_table.ListRecordsStart(m_wide.c_str()); },
       {kNotFound}},
      {"match", [&] { return Match(m_wide.c_str()); }, {kRecordUnreadable}},
      {"update long",
       [&] { return m_table.updateRecord("7", m_wide.c_str()); },
       {kRecordUnreadable, kInvalid}},
      {"schema",
       [&] { return m_table.readSchema("kiv/schema/hosts"); },
       {kSchemaUnreadable}},
      {"record text",
       [&] { return Status(CRecordText("a").Add(m_spec).error(), ""); },
       {}},
      {"text", [&] { return Status((m_copy = m_text).error(), ""); }, {}},
      {"escape", [&] { return Status(Escape(m_spec), m_spec); }, {}},
      {"unescape", [&] { return Status(Unescape(m_spec), m_spec); }, {}},
      {"spec", [&] { return CColumn().SetInfo(m_spec.c_str()); }, {}},
      {"check",
       [] { return Opened(".").CheckAddTable("t", "ini"); },
       {kSchemaUnreadable, kEmptySchema, kNoRecord}},
      {"table",
       [] { return Opened(".").AddTable("new", "a(int)"); },
       {kSchemaUnreadable, kEmptySchema}},
      {"create",
       [] { return Opened("made").Create("ini", 1, "h"); },
       {kSchemaUnreadable, kEmptySchema, kNoRecord, kInvalid}}};
  const std::string m_wide = "size=1" + std::string(5000, ' ');
  const std::string m_spec = std::string(50, 'n') + "[int]";
  const std::string m_long = "8,2," + std::string(5000, 'x');
  const CUpdateText m_text = CUpdateText().Set("name", m_spec);
  CUpdateText m_copy;
  CTable m_other, m_assigned;
  std::vector<CColumn*> m_columns;
  int m_id = 99;
};

// Every failure of a save, with what it leaves.  A second try would succeed.
TEST_F(FaultTest, FailedSaveLeavesWhatItSays) {
  const std::string file = "%/kiv/database/hosts/7";
  const std::string renamed =
      "failed to rename record file from [" + file + ".tmp] to [" + file + "]";
  const struct {
    const char* call;
    int error, pass;
    std::string left, log, end{};
  } kFailures[] = {
      {"create", EMFILE, 0, "old|1| left",
       "E8 safe_save: failed to create record file " + file + ".tmp"},
      {"write", ENOSPC, 0, "old|1| ",
       "E20 safe_save: safe_write to file " + file + ".tmp failed"},
      {"fsync", EINTR, 0, "old|1| new|2|",
       "E20 safe_save: error during safe_fsync of " + file + ".tmp"},
      {"rename", EIO, 0, "(none) new|2|", "E20 safe_save: " + renamed, "."},
      // of the directory
      {"fsync", EIO, 1, "new|2| (none)", "E20 safe_save: " + renamed, "."}};
  for (const auto& c : kFailures) {
    for (const unsigned writer : {0U, 1U}) {
      Reset();
      Put("kiv/database/hosts/7.tmp", "left");
      Fail(c.call, c.error, c.pass, 1);
      EXPECT_EQ(kInvalid, m_operations[writer].run()) << c.call;
      plan = {};
      EXPECT_EQ(c.left, State());
      const std::string log = Log();  // the removal of the old record, maybe
      EXPECT_EQ(c.log + " (" + strerror(c.error) + ")" + c.end +
                    "\nE20 Error occur when saving record!\n",
                log.substr(log.find('E')));
    }
  }
  Fail("create", EMFILE);
  EXPECT_EQ(kInvalid, m_table.addRecord("new,2", &m_id, 0));
  EXPECT_EQ(8, m_id) << "is known all the same";
  plan = {};
}

// What the system says of a lock, and what becomes of a deletion.
TEST_F(FaultTest, LocksWhereThereAreLocks) {
  for (const auto& [call, error, status] :
       {std::tuple("flock", EOPNOTSUPP, kOk),
        {"flock", EBADF, kOk},
        {"flock", EWOULDBLOCK, kOk},
        {"flock", ENOLCK, kInvalid},
        {"openat", EMFILE, kInvalid},
        {"openat", EACCES, kOk}}) {
    Reset();
    Fail(call, error, 0, 1);
    EXPECT_EQ(status, m_table.deleteRecord("7")) << error;
    plan = {};
    EXPECT_EQ(status == kOk ? "" : "7 ", List("kiv/database/hosts"));
  }
  Reset();
  const int fd = open("kiv/database/hosts", O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, flock(fd, LOCK_EX));
  SetLockWait(0);
  Fail("flock", EINTR, 0, 1);  // and then it is busy
  EXPECT_EQ(kInvalid, m_table.deleteRecord("7"));
  plan = {};
  SetLockWait(15000);
  close(fd);
}

// The directory is exchanged before its lock is had: that of the new one
// counts.
TEST_F(FaultTest, LocksTheDirectoryThatThePathNames) {
  static int calls;
  Reset();
  Put("kiv/database/new/7", "new|1|");
  calls = 0;
  Fail("flock", 0);
  plan.hook = [] {
    if (calls++ > 0) return;
    EXPECT_EQ(0, renameat2(AT_FDCWD, "kiv/database/new", AT_FDCWD,
                           "kiv/database/hosts", RENAME_EXCHANGE));
  };
  EXPECT_EQ(kOk, m_table.deleteRecord("7"));
  plan = {};
  EXPECT_EQ(4, calls) << "each is locked and unlocked";
  EXPECT_EQ("7 ", List("kiv/database/new") + List("kiv/database/hosts"));
}

// A thread that waits holds nothing: others read on, and it can be cancelled.
TEST_F(FaultTest, WaitingCanBeCancelled) {
  Reset();
  const int fd = open("kiv/database/hosts", O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, flock(fd, LOCK_EX));
  int status = kNoColumn;
  std::thread([&] {
    StopAt(Action::kCancel, 50);  // in a sleep: every second call is one
    status = m_table.deleteRecord("7");
  }).join();
  EXPECT_EQ(kNoColumn, status);
  EXPECT_EQ(kOk, m_table.ListRecordsStart(nullptr));
  close(fd);
  EXPECT_EQ(kOk, m_table.deleteRecord("7"));
}

TEST_F(FaultTest, ShortWriteFailsTheSave) {
  Reset();
  signal(SIGXFSZ, SIG_IGN);
  rlimit whole{};
  getrlimit(RLIMIT_FSIZE, &whole);
  const rlimit cut = {1000, whole.rlim_max};
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &cut));
  EXPECT_EQ(kInvalid, m_table.addRecord(m_long.c_str(), nullptr, 0));
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &whole));
  EXPECT_EQ("7 8.tmp ", List("kiv/database/hosts"));
}

// What adding and creating force to disk before they return; the sync of each
// may fail without notice.
TEST_F(FaultTest, NewTablesAreForcedToDisk) {
  if (!fs::exists("/proc/self/fd")) GTEST_SKIP() << "left out without /proc";
  const std::string table =
      "%/kiv/schema/t\n%/kiv/database/t\n%/kiv/schema\n%/kiv/database\n";
  const std::pair<std::function<int()>, std::string> kOperations[] = {
      {[] { return Opened(".").AddTable("t", "a(int)"); }, table},
      {[] { return Opened(".").CheckAddTable("t", "ini"); }, table},
      {[] { return Opened("made/it").Create("ini", 1, "h"); },
       "%/made/it/kiv/schema/t\n%/made/it/kiv/database/t\n"
       "%/made/it/kiv/database/t/1.tmp\n%/made/it/kiv/database/t\n"
       "%/made/it/kiv/database\n%/made/it/kiv/schema\n%/made/it/kiv\n"
       "%/made/it\n%/made\n%\n"},
      {[] { return Again().Create("ini", 1, "h"); },
       "%/kiv/schema/t\n%/kiv/database/t\n%/kiv/database/t/1.tmp\n"
       "%/kiv/database/t\n%/kiv/database\n%/kiv/schema\n%/kiv\n"}};
  for (const auto& [run, synced] : kOperations) {
    Reset();
    plan = {};
    EXPECT_EQ(kOk, run());
    EXPECT_EQ(synced, WithoutRoot(plan.synced));
    Reset();
    Fail("fsync", EIO, 0, 2);
    EXPECT_EQ(kOk, run());
  }
  plan = {};
}

// A host's own library may answer -1 for a key that is not there.
TEST_F(FaultTest, AnUnreadableKeyEndsTheRecords) {
  Reset();
  Opened made("made");
  Fail("ini", -1, 3);
  EXPECT_EQ(kOk, made.Create("ini", 1, "h"));
  EXPECT_EQ("1 ", List("made/kiv/database/t"));
  Fail("ini", 4096, 0, 2);  // the section list is longer at the second look
  EXPECT_EQ(kNoRecord, made.Create("ini", 1, "h"));
  ASSERT_EQ(0, chmod("ini", 0600));  // it is read again, in two reads
  Fail("read", EIO, 2);
  EXPECT_EQ(kSchemaUnreadable, made.CheckAddTable("t", "ini"));
  plan = {};
  EXPECT_EQ(
      "E12 Can't get value [ini]\nE4 failed to open schema file: "
      "made/kiv/schema/t\n"
      "E4 open table error\n",
      Log());
}

TEST_F(FaultTest, ReadErrorsAreNeverAShorterResult) {
  Reset();
  CKivDatabase database;
  Fail("readdir", EIO);
  const std::vector<int> expected = {
      kNotFound,     kNoRecord,          -1,      kNotFound,
      kNotClearable, kNoSchemaDirectory, kInvalid};
  const std::vector<int> results = {m_table.ListRecordsStart(nullptr),
                                    m_table.ListRecordsNext(nullptr),
                                    m_table.records(),
                                    m_table.recover(),
                                    m_table.clear(),
                                    database.open("."),
                                    m_table.addRecord("new,2", &m_id, 0)};
  EXPECT_EQ(expected, results);
  EXPECT_EQ(UINT_MAX, m_table.get_max_id());
  EXPECT_EQ("E20 Error occur when saving record!\n", Log());
  EXPECT_EQ(99, m_id);
  // At once, and behind the first piece.
  Put("kiv/schema/hosts", "id[int]|" + std::string(9000, 'n') + "[int]");
  Put("kiv/database/hosts/7", std::string(9000, 'x') + "|1|");
  for (const int pass : {0, 1}) {
    Fail("read", EIO, pass);
    EXPECT_EQ(kRecordUnreadable, m_table.readRecord("7"));
    Fail("read", EIO, pass);
    EXPECT_EQ(kSchemaUnreadable, CTable(m_table).Open());
    Fail("read", EIO, pass);
    EXPECT_EQ(kNoRecord, database.Create("ini", 1, nullptr));
  }
  plan = {};
  const std::string both =
      "E8 failed to open record file: %/kiv/database/hosts/7\n"
      "E4 failed to open schema file: %/kiv/schema/hosts\n"
      "E12 Can't get value [ini]\n";
  EXPECT_EQ(both + both, Log());
  EXPECT_EQ("7 ", List("kiv/database/hosts"));
}

// Stops every operation at each of its calls, or allocations, in turn: it ends
// as documented, and no lock and no descriptor is left.  What cannot be removed
// stays without notice, a table may be cut or without its directory, and a
// creation file that cannot be read has no records: these need not be as after
// a whole run.
void FaultTest::StopAnywhere(Action action, int error, int fails) {
  ZelSetSink(KeepLine);
  const std::set<std::string> kForgiving = {"delete", "clear", "check", "table",
                                            "create"};
  const std::set<std::string> kPlain = {
      "delete", "assign", "record text", "text", "escape", "unescape", "spec"};
  const int own = action == Action::kCancel       ? kNoColumn
                  : action == Action::kFailMemory ? kNoMemory
                                                  : kOk;
  int inherited = 0;
  for (const auto& [name, run, failures] : m_operations) {
    const auto descriptors = Start();
    EXPECT_EQ(kOk, run()) << name;
    const std::string done = State();
    EXPECT_EQ(descriptors, Start());
    bool isCancelled = false;
    int calls = 1;
    for (int n = 1; n <= calls; ++n) {
      SCOPED_TRACE(name + std::to_string(n) + " " + strerror(error));
      calls = n + 1;
      int status = kNoColumn;  // the result of none
      std::thread([&, &operation = run] {
        std::strcpy(kept, "");
        StopAt(action, n, error, fails);
        status = operation();
        inherited += plan.inherited;
        calls = std::exchange(plan, {}).calls;
      }).join();
      ASSERT_GT(1000, calls);
      if (action == Action::kFailMemory && kPlain.count(name) == 1) {
        EXPECT_EQ(n > calls ? kOk : kNoMemory, status);
        EXPECT_STREQ(n > calls ? "" : "18 no memory", kept);
      }
      isCancelled |= status == kNoColumn;
      EXPECT_TRUE(status == kOk || status == own || failures.count(status) == 1)
          << status;
      const bool isDone = status == kOk && kForgiving.count(name) == 0;
      const std::string left = State();
      EXPECT_TRUE(
          left == done ||
          (!isDone && (left.find("old|1| ") == 0 || left.find("new|2| ") == 0 ||
                       left == "(none) new|2|" || left == "(none) old|1|")))
          << left;
      EXPECT_EQ(descriptors, Start());
    }
    if (action == Action::kCancel) {
      // They make no call that a cancellation could act in.
      EXPECT_EQ(kPlain.count(name) == 0, isCancelled) << name;
    }
    EXPECT_EQ(kOk, m_table.deleteRecord("0")) << "or hangs";
  }
  EXPECT_EQ(0, inherited) << "no descriptor outlives exec";
}

// Any call fails, once or from there on, where the library tells a lack from
// all else, and tries for ever what is interrupted.
TEST_F(FaultTest, FailingAnywhereLosesNothing) {
  for (const int error : {EIO, ENOSPC, EACCES, EMFILE, EINTR, EDQUOT}) {
    StopAnywhere(Action::kFail, error, 1);
  }
  StopAnywhere(Action::kFail, EIO, INT_MAX);
  StopAnywhere(Action::kFail, EMFILE, INT_MAX);
}

TEST_F(FaultTest, CancellingAnywhereLeavesNothingBehind) {
  StopAnywhere(Action::kCancel);
}

TEST_F(FaultTest, LackOfMemoryLeavesNothingBehind) {
  StopAnywhere(Action::kFailMemory);
}

// From Open an exception is kSchemaUnreadable; without the schema line there is
// none.
TEST_F(FaultTest, SchemaWithoutMemoryHasOneRule) {
  ZelSetSink(KeepLine);
  Put("kiv/schema/hosts", "id[int]|" + std::string(5000, 'n') + "[int]");
  for (int n = 1, status = kNoMemory; status != kOk; ++n) {
    StopAt(Action::kFailMemory, n);
    status = m_table.Open();
    plan = {};
    if (status == kOk) break;
    EXPECT_EQ(n == 1 ? kNoMemory : kSchemaUnreadable, status);
    EXPECT_STREQ(n == 1 ? "18 no memory"
                        : "4 Catched runtime exception in readSchema: "
                          "std::bad_alloc",
                 kept);
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
    StopAt(Action::kFailMemory, INT_MAX);  // counts only
    int status = kOk;
    while (status == kOk) status = m_table.ListRecordsNext(condition);
    const int allocations = std::exchange(plan, {}).calls;
    EXPECT_EQ(kNoRecord, status);
    EXPECT_EQ(0, allocations);
  }
}

}  // namespace KivDB
