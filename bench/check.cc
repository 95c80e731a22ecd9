// The tool's check of a whole database against a listing of its one table.

#include "check.h"

#include <kivdb/kivdb.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>

#include "fixture.h"
#include "report.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

double SecondsOf(const std::function<bool()>& run) {
  const auto start = Clock::now();
  Require(run(), "a check or a listing is wrong");
  return std::chrono::duration<double>(Clock::now() - start).count();
}

bool RunCheck(const std::string& root) {
  std::string arguments[] = {KIVDB_BENCH_TOOL, "-r", root, "check"};
  char* argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(),
                  arguments[3].data(), nullptr};
  pid_t child = 0;
  int status = 0;
  return posix_spawn(&child, argv[0], nullptr, nullptr, argv, environ) == 0 &&
         waitpid(child, &status, 0) == child && status == 0;
}

bool List(const KivDB::CTable& table, int records) {
  KivDB::CListing listing(table);
  int count = 0;
  for (const KivDB::CRow& row : listing) count += row.size() > 0 ? 1 : 0;
  return listing.status() == KivDB::kOk && count == records;
}

}  // namespace

void CompareCheck(const std::string& root, int records, int rounds) {
  KivDB::CTable table(root.c_str(), "records");
  Require(table.Open() == KivDB::kOk, "no table");
  Samples checks;
  Samples listings;
  for (int i = 0; i < rounds; ++i) {
    checks.push_back(SecondsOf([&] { return RunCheck(root); }));
    listings.push_back(SecondsOf([&] { return List(table, records); }));
  }
  std::printf("A check of %i records by the tool takes %s, %s a listing.\n\n",
              records, Time(Median(checks)).c_str(),
              Digits(MedianRatio(checks, listings), " times").c_str());
}

}  // namespace bench
