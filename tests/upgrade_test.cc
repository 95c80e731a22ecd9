// Upgrades and migrations by a host: what they tell, and what they leave when a
// call fails or memory runs out.

#include "replaced_calls.h"
#include "test_util.h"

namespace KivDB {

// All that is below kiv but for what was moved away, with the modes.
std::string Tree() {
  std::set<std::string> entries;
  for (fs::recursive_directory_iterator at("kiv"), end; at != end; ++at) {
    if (at->path() == "kiv/removed") {
      at.disable_recursion_pending();
      continue;
    }
    const std::string path = at->path();
    entries.insert(path + " " + Mode(path) +
                   (at->is_directory() ? "" : " " + Get(path)) + "\n");
  }
  std::string tree;
  for (const std::string& entry : entries) tree += entry;
  return tree;
}

class UpgradeTest : public RootTest {
 protected:
  UpgradeTest() {
    Put("old.ini",
        "[first]\n[hosts]\nschema = id[int]|name[varchar]|port[int]\n"
        "rec_1 = 1,a,1\nrec_2 = 2,b,2\nrec_3 = 3,c,3\nrec_4 = 4,d,4\n");
    Put("new.ini",
        "[first]\n[hosts]\nschema = id[int]|name[varchar]|port[int]|x[int]\n"
        "rec_1 = 1,a,10,7\nrec_2 = 2,b,20,8\nrec_3 = 3,{{$kivhost}},3,9\n"
        "rec_4 = 5,e,5,5\n[routes]\nschema = id[int]|net[varchar]\n"
        "rec_1 = 1,n\n");
    m_options.id = 7;
    m_options.host = "h";
    m_options.prunes = true;
    Reset();
  }

  ~UpgradeTest() override { EXPECT_EQ(m_descriptors, OpenDescriptors()); }

  void StopAnywhere(Action action, int error, int fails);

  void Reset() {
    fs::remove_all("kiv");
    CKivDatabase database;
    database.open(".");
    EXPECT_EQ(kOk, database.Create("old.ini", 7, "h"));
    Put("kiv/database/hosts/2", "b|50|");
    EXPECT_EQ(0, chmod("kiv/database/hosts/2", 0600));
    m_steps.clear();
    Log();
  }

  int Run() {
    const bool hasBase = access("kiv/base.ini", F_OK) == 0;
    m_options.base = hasBase ? nullptr : "old.ini";
    return Upgrade(".", "new.ini", m_options, m_steps);
  }

  bool HasUnreadable() const {
    return std::any_of(m_steps.begin(), m_steps.end(), [](const auto& step) {
      return step.kind == CUpgradeStep::kUnreadable;
    });
  }

  static int Migrate() {
    return MigrateTable(".", "hosts", "id:int,port:bigint,name>title:varchar",
                        CMigrateOptions());
  }

  const std::function<int()> m_runs[2] = {[this] { return Run(); }, Migrate};
  const std::vector<int> m_descriptors = OpenDescriptors();
  CUpgradeOptions m_options;
  std::vector<CUpgradeStep> m_steps;
};

TEST_F(UpgradeTest, TellsWhatItDidAndLeft) {
  ASSERT_EQ(kOk, Run());
  std::string told;
  for (const CUpgradeStep& step : m_steps) {
    told += std::to_string(step.kind) + " " + step.table + "/" + step.id + " " +
            step.column + " " + step.shipped + ">" + step.now + ":" +
            step.here + (IsConflict(step) ? "!" : "");
    for (const std::string& value : step.values) told += " " + value;
    told += "\n";
  }
  EXPECT_EQ(
      "1 hosts/ x >int:\n4 hosts/1 port 1>10:1\n4 hosts/1 x >7:\n"
      "5 hosts/2 port 2>20:50!\n4 hosts/2 x >8:\n4 hosts/3 name c>h:c\n"
      "4 hosts/3 x >9:\n3 hosts/4  >: d 4 \n2 hosts/5  >: e 5 5\n"
      "0 routes/  >:\n2 routes/1  >: n\n",
      told);
}

TEST_F(UpgradeTest, MigrationsAreRefusedByTheirLines) {
  const struct {
    const char *table, *columns;
    int status;
    const char* log;
  } kRefusals[] = {
      {"hosts", "id:int,name:varchar", kNotEmpty,
       "E14 table [hosts]: these columns would go: port\n"},
      {"hosts", "id:int", kSyntax,
       "E11 a table has two columns or more: [id:int]\n"},
      {"hosts", "name:varchar,id:int", kSyntax,
       "E11 the first column must be the id: [name:varchar,id:int]\n"},
      {"hosts", "id:int,name:text", kUnknownType,
       "E1 no type int, bigint or varchar: [name:text]\n"},
      {"hosts", "id:int,nme>n:int", kNoColumn,
       "E13 no column to rename: [nme>n]\n"},
      {"hosts", "id:int,name,port:int", kSyntax,
       "E11 no column NAME:TYPE: [name]\n"},
      {"hosts", "id:int,name>a:int,name>b:int", kSyntax,
       "E11 a column twice: [name>b:int]\n"},
      {"../hosts", "id:int,x:int", kNoSchema,
       "E3 no such file [./kiv/schema/../hosts]\n"},
      {"hosts", "id:int,name:int,port:int,x:int", kBadRecord,
       "E16 hosts/9: no readable record: run check\n"}};
  Put("kiv/database/hosts/9", "few|");
  const std::string before = Tree();
  for (const auto& c : kRefusals) {
    EXPECT_EQ(c.status,
              MigrateTable(".", c.table, c.columns, CMigrateOptions()));
    EXPECT_EQ(c.log, Log());
    EXPECT_EQ(before, Tree()) << c.columns;
  }
}

TEST_F(UpgradeTest, MovesAwayWithoutReplacing) {
  CRemoved removed(".");
  std::string first;
  std::string second;
  ASSERT_EQ(kOk, removed.Move("database/hosts/1", first));
  Put("kiv/database/hosts/1", "again");
  ASSERT_EQ(kOk, removed.Move("database/hosts/1", second));
  EXPECT_NE(first, second);
  EXPECT_EQ("a|1| again", Get(first) + " " + Get(second));
  EXPECT_EQ(kInvalid, removed.Move("database/hosts/1", second));
}

TEST_F(UpgradeTest, FinishesWhatWasLeft) {
  Put("kiv/migrate/more/new/1", "x|");
  Put("kiv/migrate/hosts/new/1", "1|a|");
  Put("kiv/migrate/hosts/schema", "id[int]|port[int]|name[varchar]");
  fs::rename("kiv/database/hosts", "kiv/migrate/hosts/old");
  Put("kiv/database/hosts/9", "x|1|");  // a host went on
  std::vector<std::string> tables;
  EXPECT_EQ(kNotEmpty, FinishMigrations(".", &tables));
  fs::rename("kiv/database/hosts/9", "9");
  EXPECT_EQ(kOk, FinishMigrations(".", &tables));
  EXPECT_EQ((std::vector<std::string>{"hosts", "more"}), tables);
  EXPECT_EQ("1 ", List("kiv/database/hosts"));
  EXPECT_EQ("database removed schema ", List("kiv"));
}

// Each call fails in turn, or each allocation, once or from there on: the next
// run ends as if nothing had.
void UpgradeTest::StopAnywhere(Action action, int error, int fails) {
  const bool isMemory = action == Action::kFailMemory;
  if (isMemory) ZelSetSink([](ZelLevel, int, const char*) {});  // needs none
  for (const auto& run : m_runs) {
    Reset();
    ASSERT_EQ(kOk, run());
    const std::string whole = Tree();
    int failures = 0;
    int calls = 1;
    for (int n = 1; n <= calls; n += isMemory ? 1 + n / 64 : 1) {
      SCOPED_TRACE(n);
      Reset();
      StopAt(action, n, error, fails);
      const int status = run();
      calls = std::exchange(plan, {}).calls;
      if (status != kOk || HasUnreadable()) {
        ++failures;
        const bool isTold = Log().find('E') != std::string::npos;
        EXPECT_TRUE(isMemory || isTold == (status != kOk));
        EXPECT_EQ(kOk, run());
      }
      EXPECT_EQ(whole, Tree());
    }
    EXPECT_LT(20, failures);
  }
}

TEST_F(UpgradeTest, FailuresAreMendedByTheNextRun) {
  StopAnywhere(Action::kFail, EIO, 1);
  StopAnywhere(Action::kFail, ENOSPC, INT_MAX);
}

TEST_F(UpgradeTest, LackOfMemoryIsMendedByTheNextRun) {
  StopAnywhere(Action::kFailMemory, 0, INT_MAX);
}

// It goes on to its end, and leaves no lock.
TEST_F(UpgradeTest, CancellationWaits) {
  std::thread([this] {
    StopAt(Action::kCancel, 5);
    EXPECT_EQ(kOk, Run());
    plan = {};
  }).join();
  SetLockWait(0);
  EXPECT_EQ(kOk, FinishMigrations("."));
  SetLockWait(15000);
}

}  // namespace KivDB
