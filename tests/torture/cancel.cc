// Cancels threads at random moments: kivdb_cancel [--seconds N] [--seed S]
//
// What a thread leaves is its last change, or the one under way as a crash may
// leave it, and nothing else: no lock, no descriptor, no memory.

#include <malloc.h>

#include <optional>
#include <random>

#include "test_util.h"

// A cancelled thread leaves its frames, which the address sanitizer is not
// told: they must not be on the stack.
extern "C" const char* __asan_default_options() {
  return "detect_stack_use_after_return=1";
}
extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));

namespace KivDB {
namespace {

int faults = 0;

void Expect(bool isTrue, const std::string& what) {
  if (isTrue) return;
  ++faults;
  std::fprintf(stderr, "%s\n", what.c_str());
}

std::string NameOf(int value) {
  std::string name(static_cast<std::size_t>(value) % 1500 + 1, 'n');
  return name;
}

// A record of the table, and the threads that change it, one after the other.
struct Slot {
  int id;
  CTable own;      // from which each thread makes its copy
  CTable* shared;  // of all threads
  std::minstd_rand chance;
  int kept = 0;  // the value of the record, 0: there is none
  int trying = 0;
  int last = 0;
  int status = kOk;
  std::thread thread{};

  static std::string Stored(int value) {
    const std::string text = NameOf(value) + "|" + std::to_string(value) + "|";
    return value == 0 ? "(none)" : text;
  }

  int Change(CTable& in) {
    const std::string key = std::to_string(id);
    std::optional<CTableLock> lock;
    if (chance() % 4 == 0 && !lock.emplace(in).isHeld()) return kInvalid;
    trying = chance() % 4 == 0 ? 0 : ++last;
    int got = kOk;
    if (trying == 0) {
      got = in.deleteRecord(key.c_str());
    } else if (kept != 0 && last % 2 == 0) {
      CUpdateText text;
      text.Set("name", NameOf(last)).Set("port", last);
      got = in.updateRecord(key.c_str(), text.c_str());
    } else {
      const CRecordText text(id, NameOf(last), last);
      got = in.addRecord(text.c_str(), nullptr, 0);
    }
    if (got == kOk) kept = trying;
    return got;
  }

  static int List(const CTable& in) {
    CListing listing(in);
    for (const CRow& row : listing) {
      const int port = row.Get<int>("port").value_or(0);
      if (row["name"] != NameOf(port)) return kBadRecord;
    }
    return listing.status();
  }

  // To other columns and back; a cancellation waits.
  int Migrate() {
    CMigrateOptions options;
    options.drops = true;
    const bool isWide = ++last % 2 == 0;
    return MigrateTable(
        "own", "u", isWide ? "id:int,a:int,b:int" : "id:int,a:int", options);
  }

  int Act(CTable& copy) {
    const auto what = chance() % 50;
    int added = 0;
    if (what < 2 && id == 0) return Migrate();
    if (what < 4) return List(copy);
    if (what < 6) return copy.records() < 0 ? kNotFound : kOk;
    if (what < 9) return copy.Open();
    if (what > 12) return Change(what % 2 == 0 ? copy : *shared);
    CTable other(".", "other");
    const int got = other.Open();
    if (got != kOk) return got;
    return what == 9 ? other.clear() : other.addRecord("x", &added, 0);
  }

  void Start() {
    thread = std::thread([this] {
      CTable copy(own);
      while (status == kOk) {
        status = Act(copy);
        std::this_thread::yield();  // or who waits for the mutex has no chance
      }
    });
  }

  // Looks at what the thread left, and puts it right.
  void Stop() {
    pthread_cancel(thread.native_handle());
    thread.join();
    Expect(status == kOk, "status " + std::to_string(status));
    const std::string file = "kiv/database/hosts/" + std::to_string(id);
    const std::string left = Get(file);
    const std::string saved = Get(file + ".tmp");
    const std::string now = left == "(none)" && trying != 0 ? saved : left;
    Expect(left == Stored(kept) || now == Stored(trying),
           file + " has " + left + ", " + saved + " beside it, not " +
               Stored(kept) + " or " + Stored(trying));
    if (now == Stored(trying)) kept = trying;
    if (kept != 0 && left == "(none)") fs::rename(file + ".tmp", file);
    fs::remove(file + ".tmp");
    status = kOk;
    if (id > 0) return;
    std::vector<std::string> unfinished;
    Expect(FinishMigrations("own", &unfinished) == kOk && unfinished.empty() &&
               Get("own/kiv/database/u/1").find("1|") == 0,
           "a migration was cancelled");
    fs::remove_all("own/kiv/removed");
  }
};

// When all threads have ended: nothing is locked, and the rest is as before.
void CheckIdle(int round) {
  static std::vector<int> open;
  static std::size_t memory = 0;
  SetLockWait(0);
  for (const char* name : {"hosts", "other"}) {
    CTable table(".", name);
    Expect(table.Open() == kOk && table.recover() == kOk, "a lock is held");
  }
  SetLockWait(15000);
  const auto now = mallinfo2().uordblks;
  if (round < 2) std::tie(open, memory) = std::pair(OpenDescriptors(), now);
  Expect(open == OpenDescriptors(), "a descriptor is open");
  Expect(now < memory + 262144,
         "memory grows by " + std::to_string(now - memory));
}

int Torture(int seed, double seconds) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::duration<double>(seconds);
  Put("kiv/schema/hosts", "id[int]|name[varchar]|port[int]");
  Put("kiv/schema/other", "id[int]|x[varchar]");
  Put("own/kiv/schema/u", "id[int]|a[int]");
  Put("own/kiv/database/u/1", "1|");
  fs::create_directories("kiv/database/hosts");
  fs::create_directories("kiv/database/other");
  CTable table(".", "hosts");
  Expect(table.Open() == kOk, "no table");
  std::vector<Slot> slots;
  for (int id = 0; id < 4; ++id) {
    slots.push_back({id, table, &table,
                     std::minstd_rand(static_cast<unsigned>(seed * 7 + id))});
  }
  std::mt19937 chance(static_cast<unsigned>(seed));
  int count = 0;
  for (int round = 0; round < 3 || Clock::now() < end; ++round) {
    alarm(60);  // ends a thread that waits for what one has left locked
    for (Slot& slot : slots) slot.Start();
    for (int i = 0; i < 100; ++i, ++count) {
      for (auto n = chance() % 3; n > 0; --n) std::this_thread::yield();
      Slot& slot = slots[chance() % slots.size()];
      slot.Stop();
      slot.Start();
    }
    for (Slot& slot : slots) slot.Stop();
    CheckIdle(round);
  }
  if (__lsan_do_recoverable_leak_check != nullptr) {
    Expect(__lsan_do_recoverable_leak_check() == 0, "memory is lost");
  }
  std::printf("cancellation at random\t%d\t%d\t\n", count, faults);
  return faults > 0 ? 1 : 0;
}

}  // namespace
}  // namespace KivDB

int main(int argc, char** argv) {
  double seconds = 60;
  double seed = 1;
  for (int i = 1; i + 1 < argc; i += 2) {
    const bool isTime = argv[i] == std::string("--seconds");
    (isTime ? seconds : seed) = std::strtod(argv[i + 1], nullptr);
  }
  std::string root = fs::temp_directory_path() / "kivdb_cancel.XXXXXX";
  if (mkdtemp(root.data()) == nullptr || chdir(root.c_str()) != 0) return 1;
  ZelSetSink([](ZelLevel, int, const char*) {});
  const int status = KivDB::Torture(static_cast<int>(seed), seconds);
  fs::remove_all(root);
  if (status != 0) std::fprintf(stderr, "--seed %.0f\n", seed);
  return status;
}
