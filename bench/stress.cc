// Several processes change one table, and some of them are killed at it: is
// every change still there that the library acknowledged?
//
//   kivdb_stress DIRECTORY SECONDS [KILLS_PER_SECOND]
//
// Makes a database in DIRECTORY and, beside it, a journal of each thread; both
// stay.  A thread writes growing numbers, and only to the column that is its
// own, in records of its own and in those that all share.

#include <kivdb/kivdb.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <random>
#include <set>
#include <thread>

#include "stress_board.h"
#include "stress_journal.h"

namespace bench {
namespace {

namespace fs = std::filesystem;
using KivDB::CTable;
using KivDB::kOk;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr int kProcesses = 4;
constexpr int kThreads = 2 * kProcesses;
constexpr int kMostOwn = 30;      // records of a thread
constexpr int kMostNames = 1000;  // that a listing reads at once

// Reading that took as long may have gone on without the lock, and have missed
// a record that was just being saved.
class CReading {
 public:
  bool HadLock() const { return Clock::now() - m_begin < Seconds(0.1); }

 private:
  const Clock::time_point m_begin = Clock::now();
};

int Below(int bound) {
  thread_local std::minstd_rand random(std::random_device{}());
  return std::uniform_int_distribution(0, bound - 1)(random);
}

std::string ColumnName(int slot) { return "c" + std::to_string(slot); }

// The fields of a record but the id.
std::string FieldsWith(int value, int slot) {
  std::string fields;
  for (int i = 0; i < kThreads; ++i) {
    fields += (i > 0 ? "," : "") + std::to_string(i == slot ? value : 0);
  }
  return fields;
}

std::string RootOf(const std::string& directory) {
  return directory + "/database";
}

CTable& Open(KivDB::CKivDatabase& database, const std::string& directory) {
  Require(database.open(RootOf(directory).c_str()) == kOk, "no database");
  CTable* table = database.GetTable("records");
  Require(table != nullptr, "no table");
  return *table;
}

int ReadValue(CTable& table, int id, int slot, int& value) {
  const int status = table.readRecord(std::to_string(id).c_str());
  if (status != kOk) return status;
  return table.GetValInt(ColumnName(slot).c_str(), value);
}

// One thread that makes changes, and goes on where a killed one stopped.  It
// changes records through the table of its process and reads through a copy.
class CActor {
 public:
  CActor(CBoard& board, CTable& table, const std::string& directory, int slot)
      : m_board(board),
        m_table(table),
        m_copy(table),
        m_slot(slot),
        m_journal(directory, slot),
        m_history(m_journal.Read()) {}

  void Run() {
    const std::map<int, CState> records = m_history.records;
    for (const auto& [id, state] : records) {
      if (state.mayBeGone) Delete(id);
    }
    while (!m_board.stops) Step();
  }

 private:
  // The newest record of its own stays: were it the highest of all, its id
  // would be given again.
  void Step() {
    const int own = static_cast<int>(m_history.records.size()) - kShared;
    const int choice = Below(10);
    if (own > kMostOwn || (choice < 2 && own > 1)) return Delete(Own(own - 1));
    if (choice < 4 || own == 0) return Add();
    Update(choice < 6 ? Own(own) : 1 + Below(kShared));
  }

  int Own(int bound) const {
    const auto first = m_history.records.upper_bound(kShared);
    return std::next(first, Below(bound))->first;
  }

  void Add() {
    CEntry entry = Intend('a', 0);
    const std::string fields = FieldsWith(entry.value, m_slot);
    Finish(entry, m_table.addRecord(fields.c_str(), &entry.id, 0));
  }

  void Update(int id) {
    Check(id);
    CEntry entry = Intend('u', id);
    const std::string text =
        ColumnName(m_slot) + "=" + std::to_string(entry.value);
    Finish(entry,
           m_table.updateRecord(std::to_string(id).c_str(), text.c_str()));
  }

  void Delete(int id) {
    CEntry entry = Intend('d', id);
    Finish(entry, m_table.deleteRecord(std::to_string(id).c_str()));
  }

  // Nobody else may have changed this thread's column.
  void Check(int id) {
    const unsigned int epoch = m_board.epoch;
    const CReading reading;
    int value = 0;
    const int status = ReadValue(m_copy, id, m_slot, value);
    if (status == kOk) {
      if (!m_history.records[id].Allows(value)) m_board.Report(kLost, id);
    } else if (reading.HadLock() && m_board.IsCleanSince(epoch)) {
      m_board.Fail(status, id);
    }
  }

  CEntry Intend(char kind, int id) {
    const CEntry entry{'?', kind, id, m_history.value + 1};
    Note(entry);
    m_epoch = m_board.epoch;
    return entry;
  }

  void Finish(CEntry& entry, int status) {
    if (status == kOk) {
      entry.mark = '!';
      Note(entry);
      ++m_board.counts[kAcknowledged];
    } else if (status != KivDB::kNotFound || m_board.IsCleanSince(m_epoch)) {
      // A killed save may have left a shared record under another name.
      m_board.Fail(status, entry.id);
    }
  }

  void Note(const CEntry& entry) {
    m_journal.Write(entry);
    m_history.Apply(entry);
  }

  CBoard& m_board;
  CTable& m_table;
  CTable m_copy;
  const int m_slot;
  CJournal m_journal;
  CHistory m_history;
  unsigned int m_epoch = 0;  // when the change began
};

void Work(CBoard& board, const std::string& directory, int process) {
  KivDB::CKivDatabase database;
  CTable& table = Open(database, directory);
  CActor first(board, table, directory, process);
  CActor second(board, table, directory, process + kProcesses);
  std::thread thread([&] { second.Run(); });
  first.Run();
  thread.join();
}

bool IsTemporary(const fs::path& path) { return path.extension() == ".tmp"; }

int List(CTable& table, std::multiset<std::string>& ids) {
  std::vector<KivDB::CColumn*> columns;
  int status = table.ListRecordsStart(columns, nullptr);
  while (status == kOk) {
    ids.insert(columns[0]->data());
    status = table.ListRecordsNext(columns, nullptr);
  }
  return status == KivDB::kNoRecord ? kOk : status;
}

void JudgeListing(CBoard& board, const std::multiset<std::string>& ids) {
  for (int id = 1; id <= kShared; ++id) {
    const std::size_t times = ids.count(std::to_string(id));
    if (times != 1) board.Report(times == 0 ? kMissed : kRepeated, id);
  }
  for (const std::string& id : ids) {
    if (IsTemporary(id)) board.Report(kTemporary, std::stoi(id));
  }
}

// Reads in all ways, and judges what came when it had the lock and no kill came
// in between.
void Look(CBoard& board, CTable& table) {
  const unsigned int epoch = board.epoch;
  const CReading reading;
  std::multiset<std::string> ids;
  const int listed = List(table, ids);
  const int id = 1 + Below(kShared);
  const int read = table.readRecord(std::to_string(id).c_str());
  const int count = table.records();
  if (!reading.HadLock() || !board.IsCleanSince(epoch)) return;
  ++board.counts[kJudged];
  JudgeListing(board, ids);
  if (listed != kOk) board.Fail(listed, 0);
  if (read != kOk) board.Fail(read, id);
  if (count < kShared || count > kMostNames) board.Report(kMiscounted, count);
}

void Watch(CBoard& board, const std::string& directory) {
  KivDB::CKivDatabase database;
  CTable& table = Open(database, directory);
  while (!board.stops) Look(board, table);
}

bool IsComplete(const fs::path& temporary) {
  std::ifstream file(temporary);
  std::string content;
  std::getline(file, content);
  return std::count(content.begin(), content.end(), '|') == kThreads &&
         content.back() == '|' && content.find('\0') == std::string::npos;
}

// Gives what is to be counted.
Count RepairOne(const fs::path& temporary) {
  const fs::path record = temporary.parent_path() / temporary.stem();
  std::error_code error;
  if (IsComplete(temporary) && !fs::exists(record)) {
    fs::rename(temporary, record, error);
    return error ? kUnguarded : kRenamed;
  }
  return fs::remove(temporary, error) ? kRemoved : kUnguarded;
}

// Puts in order what a killed save left, as an administrator does.
void Repair(CBoard& board, const std::string& root) {
  // Chance may leave it waiting for long on a busy machine.
  const unsigned int wait = KivDB::LockWait();
  KivDB::SetLockWait(10 * wait);
  const KivDB::CTableLock lock(root.c_str(), "records");
  KivDB::SetLockWait(wait);
  Require(lock.isHeld(), "no lock for a repair");
  std::vector<fs::path> found;
  for (const auto& entry : fs::directory_iterator(root + kTable)) {
    if (IsTemporary(entry.path())) found.push_back(entry.path());
  }
  for (const fs::path& path : found) ++board.counts[RepairOne(path)];
}

void MakeDatabase(const std::string& directory) {
  const std::string root = RootOf(directory);
  Require(fs::create_directories(root), "there is a database already");
  const std::string ini = directory + "/creation.ini";
  std::ofstream file(ini);
  file << "[stress]\n[records]\nschema = id[int]";
  for (int slot = 0; slot < kThreads; ++slot) {
    file << "|" << ColumnName(slot) << "[int]";
  }
  for (int id = 1; id <= kShared; ++id) {
    file << "\nrec_" << id << " = " << id << "," << FieldsWith(0, 0);
  }
  file.close();
  KivDB::CKivDatabase database;
  database.open(root.c_str());  // sets the root
  Require(database.Create(ini.c_str(), 1, nullptr) == kOk, "no new database");
}

// Starts the others, and kills.
class CParent {
 public:
  CParent(CBoard& board, const char* directory)
      : m_board(board), m_directory(directory) {}

  void Run(double seconds, double killsPerSecond) {
    const pid_t reader = Start([this] { Watch(m_board, m_directory); });
    for (pid_t& worker : m_workers) StartWorker(worker);
    const auto end = Clock::now() + Seconds(seconds);
    while (Clock::now() < end) {
      // A kill comes at half of the pauses' ends, taken at random.
      std::this_thread::sleep_for(
          Seconds(killsPerSecond > 0 ? 0.5 / killsPerSecond : 0.1));
      if (killsPerSecond > 0 && Below(2) == 0) KillOne();
    }
    m_board.stops = true;
    for (const pid_t worker : m_workers) Await(worker, 0);
    Await(reader, 0);
  }

 private:
  template <typename Body>
  static pid_t Start(Body body) {
    const pid_t pid = fork();
    Require(pid >= 0, "no process");
    if (pid != 0) return pid;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    body();
    std::_Exit(EXIT_SUCCESS);
  }

  void StartWorker(pid_t& worker) {
    const auto process = static_cast<int>(&worker - m_workers);
    worker = Start([&] { Work(m_board, m_directory, process); });
  }

  void Await(pid_t process, int expected) {
    int status = 0;
    waitpid(process, &status, 0);
    if (status != expected) m_board.Report(kDied, 0);
  }

  void KillOne() {
    pid_t& worker = m_workers[Below(kProcesses)];
    ++m_board.epoch;
    kill(worker, SIGKILL);
    Await(worker, SIGKILL);
    Repair(m_board, RootOf(m_directory));
    ++m_board.epoch;
    StartWorker(worker);
    ++m_board.counts[kKills];
  }

  CBoard& m_board;
  const std::string m_directory;
  pid_t m_workers[kProcesses] = {};
};

// Compares what the table holds with the journal of one thread.
void Verify(CBoard& board, CTable& table, const CHistory& history, int slot) {
  int value = 0;
  for (const auto& [id, state] : history.records) {
    const bool isRead = ReadValue(table, id, slot, value) == kOk;
    const bool isRight = isRead ? state.Allows(value) : state.mayBeGone;
    if (!isRight) board.Report(kLost, id);
  }
  for (const int id : history.deleted) {
    if (ReadValue(table, id, slot, value) == kOk) board.Report(kLost, id);
  }
}

void VerifyAll(CBoard& board, const std::string& directory) {
  KivDB::CKivDatabase database;
  CTable& table = Open(database, directory);
  Look(board, table);
  std::set<int> ids;
  for (int slot = 0; slot < kThreads; ++slot) {
    const CHistory history = CJournal(directory, slot).Read();
    Verify(board, table, history, slot);
    for (const int id : history.added) {
      if (!ids.insert(id).second) board.Report(kTwice, id);
    }
  }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s DIRECTORY SECONDS [KILLS_PER_SECOND]\n",
                 argv[0]);
    return EXIT_FAILURE;
  }
  ZelSetSink(bench::KeepError);
  bench::CBoard& board = bench::CBoard::Make();
  bench::MakeDatabase(argv[1]);
  bench::CParent parent(board, argv[1]);
  parent.Run(std::stod(argv[2]), argc > 3 ? std::stod(argv[3]) : 5);
  bench::VerifyAll(board, argv[1]);
  return board.Summarize() ? EXIT_SUCCESS : EXIT_FAILURE;
}
