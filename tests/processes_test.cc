// Several processes, and tables made without copying, on one database.

#include <fcntl.h>
#include <kivdb/lock.h>
#include <sys/file.h>
#include <sys/wait.h>

#include "base/renameat2.h"
#include "test_util.h"

namespace KivDB {

class ProcessesTest : public TableTest {
 protected:
  ~ProcessesTest() override { SetLockWait(15000); }

  // Runs body in two processes at once, each with its number and a table of its
  // own, and expects both to return true.
  void InTwoProcesses(const std::function<bool(CTable&, int)>& body) {
    pid_t children[2];
    for (int i = 0; i < 2; ++i) {
      children[i] = fork();
      if (children[i] != 0) continue;
      ZelSetSink([](ZelLevel, int, const char*) {});
      CTable table(m_root.c_str(), "hosts");
      _exit(table.Open() == kOk && body(table, i) ? 0 : 1);
    }
    for (const pid_t child : children) {
      int status = -1;
      EXPECT_EQ(child, waitpid(child, &status, 0));
      EXPECT_EQ(0, status);
    }
  }

  // Holds the directory's lock as another process does.
  static int Hold(const std::string& directory) {
    const int fd = open(directory.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(0, flock(fd, LOCK_EX | LOCK_NB)) << directory;
    return fd;
  }
};

// What reads, decides and writes holds the lock: without it two would read the
// same number.
TEST_F(ProcessesTest, LoseNoChange) {
  constexpr int kRounds = 60;
  for (const char* id : {"1", "2"}) Put(id, "0|0|");
  for (int id = 1000; id < 1000 + kRounds; ++id) Put(std::to_string(id), "x|");
  InTwoProcesses([this](CTable& table, int number) {
    for (int i = 1; i <= kRounds; ++i) {
      int id = 0;
      const std::string value = std::to_string(i);
      const std::string change = (number == 0 ? "name=" : "size=") + value;
      const std::string old = std::to_string(1000 + i - 1);
      if (table.addRecord(("new," + value).c_str(), &id, 0) != kOk ||
          table.updateRecord("1", change.c_str()) != kOk ||
          table.deleteRecord(old.c_str()) != kOk) {
        return false;
      }
      const CTableLock lock(table);
      const CTableLock again(m_root.c_str(), "hosts");
      int size = -1;
      if (!lock.isHeld() || !again.isHeld() || table.readRecord("2") != kOk ||
          table.GetValInt("size", size) != kOk) {
        return false;
      }
      const std::string next = "size=" + std::to_string(size + 1);
      if (table.updateRecord("2", next.c_str()) != kOk) return false;
    }
    return true;
  });
  EXPECT_EQ("60|60|0|120|", Get("1") + Get("2"));
  EXPECT_EQ(2 + 2 * kRounds, m_table.records()) << "each id once";
  EXPECT_EQ("", Log());
}

TEST_F(ProcessesTest, WaitNoLongerThanTheySay) {
  const std::string line = "E20 Thread lock is not acquired, cannot proceed!\n";
  Put("7", "old|1|");
  CKivDatabase database;
  ASSERT_EQ(kOk, database.open(m_root.c_str()));
  SetLockWait(20);
  EXPECT_EQ(20U, LockWait());
  int fd = Hold(".");
  int id = 0;
  const std::vector<int> results = {m_table.addRecord("7,x,2", nullptr, 0),
                                    m_table.addRecord("x,2", &id, 0),
                                    m_table.updateRecord("7", "size=2"),
                                    m_table.deleteRecord("7"),
                                    m_table.recover(),
                                    m_table.clear()};
  EXPECT_EQ(std::vector<int>(6, kInvalid), results);
  EXPECT_EQ(line + line + line + line + line + line, Log());
  EXPECT_EQ(kNotEmpty, database.DropTable(database.GetTable("hosts")));
  EXPECT_EQ(line + "E14 the table is not empty\n", Log());
  EXPECT_FALSE(CTableLock(m_table).isHeld());
  EXPECT_EQ(kOk, m_table.readRecord("7"));
  EXPECT_EQ(1, m_table.records()) << "reading goes on";
  EXPECT_EQ("old|1|", Get("7"));
  close(fd);
  fd = Hold("../../schema");
  Log();
  EXPECT_EQ(kSchemaUnreadable, database.createSchemaF("t", "id[int]"));
  EXPECT_EQ(line + "E4 failed to create schema file: %/kiv/schema/t\n", Log());
  EXPECT_EQ(kInvalid, database.DropTable(database.GetTable("hosts")));
  EXPECT_EQ(line, Log());
  EXPECT_FALSE(CSchemaLock(m_root.c_str()).isHeld());
  EXPECT_EQ(kOk, CKivDatabase().open(m_root.c_str())) << "after a moment";
  close(fd);
  EXPECT_TRUE(CSchemaLock(m_root.c_str()).isHeld());
  EXPECT_FALSE(CTableLock(m_root.c_str(), "none").isHeld());
}

TEST_F(ProcessesTest, WaitForWhatIsThere) {
  Put("7", "old|1|");
  // The directory is exchanged while the lock of the old one is held.
  const int fd = Hold(".");
  auto waiting = std::async(
      std::launch::async, [&] { return m_table.updateRecord("7", "size=2"); });
  EXPECT_FALSE(IsReadySoon(waiting));
  const std::string other = m_records + ".new";
  Put(other + "/7", "new|1|");
  ASSERT_EQ(0, renameat2(AT_FDCWD, other.c_str(), AT_FDCWD, m_records.c_str(),
                         RENAME_EXCHANGE));
  EXPECT_EQ(kOk, waiting.get());
  EXPECT_EQ("new|2|old|1|", Get(m_records + "/7") + Get("7"));
  close(fd);
  // A forked child has the descriptor, but no part in the lock, which ends with
  // its holder.
  SetLockWait(0);
  pid_t child = 0;
  int status = 0;
  {
    auto lock = std::make_unique<CTableLock>(m_table);
    ASSERT_TRUE(lock->isHeld());
    child = fork();
    if (child == 0) {
      lock.reset();
      if (m_table.deleteRecord("7") == kInvalid) raise(SIGSTOP);
      _exit(1);
    }
    waitpid(child, &status, WUNTRACED);
    EXPECT_TRUE(WIFSTOPPED(status));
  }
  EXPECT_EQ(kOk, std::async(std::launch::async, [&] {
                   return m_table.updateRecord("7", "size=3");
                 }).get());
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  // The directory goes.
  fs::remove_all(m_records);
  EXPECT_EQ(kInvalid, m_table.addRecord("7,x,2", nullptr, 0));
  EXPECT_NE(std::string::npos, Log().find("E8 safe_save: failed to create"));
}

}  // namespace KivDB
