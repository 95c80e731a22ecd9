// The benchmark: each operation as bare system calls, with the library and with
// SQLite, taken in turns.
//
//   kivdb_bench full|quick DIRECTORY SERIES [OPERATION]
//
// Works below DIRECTORY and in /dev/shm, prints one table of medians and writes
// them to the file SERIES.  OPERATION is part of the names of those to measure.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>

#include "check.h"
#include "loops.h"
#include "operations.h"
#include "report.h"
#include "zel_control.h"

namespace bench {

#ifndef KIVDB_BENCH_TOOL
void CompareCheck(const std::string& /*root*/, int /*records*/,
                  int /*rounds*/) {}
#endif
#ifndef KIVDB_BENCH_SQLITE
std::unique_ptr<CContestant> MakeSqlite(const CPlace& /*place*/,
                                        const char* /*journal*/) {
  return nullptr;
}
#endif

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kDisk[] = "disk";
constexpr char kTmpfs[] = "tmpfs";

struct CPlan {
  std::array<int, 3> sizes;
  int created;         // records of the creation file
  int bulk;            // and of the one that is compared with adds
  double slice;        // seconds of a contestant in a round, at least
  int rounds;          // at least
  double diskSeconds;  // and further rounds until this time is over
  double tmpfsSeconds;
  int loops;   // rounds of the loops over listings
  int checks;  // and of the tool's check
};
constexpr CPlan kFull = {
    {1'000, 10'000, 100'000}, 1'000, 10'000, 0.02, 3, 4.5, 2, 51, 7};
constexpr CPlan kQuick = {{100, 500, 1'000}, 100, 500, 0.001, 2, 0, 0, 3, 2};

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// One line of the table to be.
struct CTask {
  const COperation& operation;
  const CFixture& fixture;
  Records records;
  int units;  // what the time of all records is divided by
  CRow row;
};

CTask MakeTask(const COperation& operation, const CFixture& fixture) {
  Records records = operation.choose(fixture);
  const int units = static_cast<int>(records.size());
  return {operation,
          fixture,
          std::move(records),
          units,
          {operation.name, fixture.placeName(), fixture.size(), {}}};
}

CTask MakeCreateTask(const CFixture& fixture) {
  CTask task = MakeTask(kCreate, fixture);
  task.row.records = fixture.created();
  return task;
}

std::string NameOf(const CTask& task, std::size_t contestant) {
  return task.row.operation + "/" + task.row.place + "/" +
         std::to_string(task.row.records) + "/" + kNames[contestant];
}

void Measure(benchmark::State& state, CContestant& contestant,
             const CTask& task) {
  const auto& [operation, fixture, records, units, row] = task;
  bool ok = true;
  while (state.KeepRunningBatch(units)) {
    contestant.NextRound();
    if (operation.before != nullptr) {
      ok = operation.before(contestant, records, fixture) && ok;
    }
    if (operation.kind != Kind::kReads) fixture.Sync();
    const auto start = Clock::now();
    for (const CRecord& record : records) {
      ok = operation.run(contestant, record, fixture) && ok;
    }
    state.SetIterationTime(SecondsSince(start));
    if (operation.after != nullptr) {
      ok = operation.after(contestant, records, fixture) && ok;
    }
  }
  if (!ok) state.SkipWithError("wrong result");
}

class CRunner {
 public:
  explicit CRunner(const CPlan& plan) : m_plan(plan) {}

  // Measures the tasks round by round, all contestants in turn in each: what
  // slows the machine down for a while meets them all.  Every other round goes
  // backwards, as each finds the caches of the machine as the last left them.
  void Run(std::vector<CTask>& tasks) {
    const bool isDisk = tasks[0].row.place == kDisk;
    const double time = isDisk ? m_plan.diskSeconds : m_plan.tmpfsSeconds;
    const auto start = Clock::now();
    for (int i = 0; i < m_plan.rounds || SecondsSince(start) < time; ++i) {
      for (const CTask& task : tasks) Register(task, i % 2 != 0);
      benchmark::RunSpecifiedBenchmarks(&m_reporter, ".");
      benchmark::ClearRegisteredBenchmarks();
    }
    for (CTask& task : tasks) {
      for (std::size_t i = 0; i < kContestants; ++i) {
        task.row.samples[i] = m_reporter.Get(NameOf(task, i)).samples;
      }
      m_rows.push_back(task.row);
      std::fprintf(stderr, ".");
    }
  }

  const std::vector<CRow>& rows() const { return m_rows; }
  bool HasFailed() const { return m_reporter.HasFailed(); }

 private:
  // The first round finds out how many iterations make a slice.
  void Register(const CTask& task, bool isBackwards) {
    for (std::size_t turn = 0; turn < kContestants; ++turn) {
      const std::size_t i = isBackwards ? kContestants - 1 - turn : turn;
      CContestant* contestant = task.fixture.contestant(i);
      if (contestant == nullptr) continue;
      const std::string name = NameOf(task, i);
      auto* added = benchmark::RegisterBenchmark(
          name.c_str(), [contestant, &task](benchmark::State& state) {
            Measure(state, *contestant, task);
          });
      added->UseManualTime();
      const auto iterations = m_reporter.Get(name).iterations;
      if (iterations > 0) {
        added->Iterations(iterations);
      } else {
        added->MinTime(m_plan.slice);
      }
    }
  }

  const CPlan& m_plan;
  CReporter m_reporter;
  std::vector<CRow> m_rows;
};

// A directory to work in, which goes with the object.
class CDirectory {
 public:
  explicit CDirectory(const std::string& parent)
      : m_path(parent + "/kivdb_bench.XXXXXX") {
    Require(mkdtemp(m_path.data()) != nullptr, "no directory to work in");
  }
  ~CDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  CDirectory(const CDirectory&) = delete;
  CDirectory& operator=(const CDirectory&) = delete;

  std::string At(int size) const { return m_path + "/" + std::to_string(size); }

 private:
  std::string m_path;
};

using Fixtures = std::vector<std::unique_ptr<CFixture>>;

Fixtures MakeFixtures(const char* placeName, const CDirectory& directory,
                      const CPlan& plan) {
  Fixtures fixtures;
  for (const int size : plan.sizes) {
    fixtures.push_back(std::make_unique<CFixture>(placeName, directory.At(size),
                                                  size, plan.created));
  }
  return fixtures;
}

void RunAt(CRunner& runner, const COperation& operation,
           const Fixtures& fixtures) {
  for (const auto& fixture : fixtures) {
    std::vector<CTask> tasks = {MakeTask(operation, *fixture)};
    runner.Run(tasks);
  }
}

void RunCreate(CRunner& runner, const CFixture& fixture) {
  std::vector<CTask> tasks = {MakeCreateTask(fixture)};
  runner.Run(tasks);
}

// Creating from a file and adding the same records one by one, each as a whole.
void RunBulk(CRunner& runner, const CDirectory& tmpfs, int records) {
  const CFixture empty(kTmpfs, tmpfs.At(0), 0, records);
  std::vector<CTask> tasks = {MakeCreateTask(empty),
                              {kAdd,
                               empty,
                               MakeRecords(1, records),
                               1,
                               {"as many adds", kTmpfs, records, {}}}};
  runner.Run(tasks);
  const double ratio =
      MedianRatio(tasks[0].row.samples[1], tasks[1].row.samples[1]);
  std::printf(
      "Creating %i records from a file takes the library %s as long as "
      "adding them.\n\n",
      records, Digits(ratio, " times").c_str());
}

int Main(const CPlan& plan, const char* parent, const char* series,
         const char* only) {
  const CDirectory disk(parent);
  const CDirectory tmpfs("/dev/shm");
  const Fixtures onDisk = MakeFixtures(kDisk, disk, plan);
  const Fixtures onTmpfs = MakeFixtures(kTmpfs, tmpfs, plan);
  CRunner runner(plan);
  for (const COperation& operation : kOperations) {
    if (std::strstr(operation.name, only) == nullptr) continue;
    RunAt(runner, operation, onDisk);
    if (operation.kind == Kind::kDurable) RunAt(runner, operation, onTmpfs);
  }
  if (std::strstr(kCreate.name, only) != nullptr) {
    RunCreate(runner, *onDisk[0]);
    RunCreate(runner, *onTmpfs[0]);
    RunBulk(runner, tmpfs, plan.bulk);
  }
  if (std::strstr("loops", only) != nullptr) {
    CompareLoops(onTmpfs[1]->root(), onTmpfs[1]->size(), plan.loops);
  }
  if (std::strstr("check", only) != nullptr) {
    CompareCheck(onDisk.back()->root(), onDisk.back()->size(), plan.checks);
  }
  std::fprintf(stderr, "\n");
  PrintTable(runner.rows());
  WriteSeries(series, runner.rows());
  return runner.HasFailed() ? EXIT_FAILURE : EXIT_SUCCESS;
}

// The library tells of each record that it replaces; only errors are shown.
void ShowErrors(ZelLevel level, int code, const char* text) {
  if (level != ZelLevel::kError) return;
  std::fprintf(stderr, "error %i: %s\n", code, text);
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: %s full|quick DIRECTORY SERIES [OPERATION]\n",
                 argv[0]);
    return EXIT_FAILURE;
  }
  ZelSetSink(bench::ShowErrors);
  const bool isQuick = std::strcmp(argv[1], "quick") == 0;
  return bench::Main(isQuick ? bench::kQuick : bench::kFull, argv[2], argv[3],
                     argc > 4 ? argv[4] : "");
}
