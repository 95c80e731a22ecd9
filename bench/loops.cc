// A listing through CListing against one by ListRecords*, in the CPU time of
// the thread: the ratio of two that are this close is lost in the clock's.

#include "loops.h"

#include <kivdb/kivdb.h>

#include <ctime>

#include "fixture.h"
#include "report.h"

namespace bench {
namespace {

using KivDB::CColumn;
using KivDB::CConditionText;
using KivDB::CListing;
using KivDB::CTable;
using KivDB::kOk;

using Loop = bool (*)(CTable& table, const CConditionText& condition,
                      std::size_t& bytes);

// Both add up the sizes of the names.
bool ByCalls(CTable& table, const CConditionText& condition,
             std::size_t& bytes) {
  std::vector<CColumn*> row;
  int status = table.ListRecordsStart(row, condition.c_str());
  for (; status == kOk;
       status = table.ListRecordsNext(row, condition.c_str())) {
    bytes += std::string_view(row[1]->data()).size();
  }
  return status == KivDB::kNoRecord;
}

bool ByRange(CTable& table, const CConditionText& condition,
             std::size_t& bytes) {
  CListing listing(table, condition);
  for (const KivDB::CRow& row : listing) bytes += row[1].size();
  return listing.status() == kOk;
}

// The seconds of CPU time that one listing takes this thread.
double Time(Loop loop, CTable& table, const CConditionText& condition,
            std::size_t expected) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) +
           static_cast<double>(time.tv_nsec) * 1e-9;
  };
  std::size_t bytes = 0;
  const double start = now();
  const bool ok = loop(table, condition, bytes);
  const double seconds = now() - start;
  Require(ok && bytes == expected, "a listing is wrong");
  return seconds;
}

// The median ratio of the two, which take turns at going first.
double Compare(CTable& table, const CConditionText& condition,
               std::size_t expected, int rounds) {
  Samples calls;
  Samples range;
  for (int i = 0; i < rounds; ++i) {
    const auto byCalls = [&] {
      calls.push_back(Time(ByCalls, table, condition, expected));
    };
    if (i % 2 == 0) byCalls();
    range.push_back(Time(ByRange, table, condition, expected));
    if (i % 2 != 0) byCalls();
  }
  return MedianRatio(range, calls);
}

}  // namespace

void CompareLoops(const std::string& root, int records, int rounds) {
  CTable table(root.c_str(), "records");
  Require(table.Open() == kOk, "no table");
  const std::size_t name = MakeRecords(1, 1)[0].name.size();
  const auto all = static_cast<std::size_t>(records);
  CConditionText some;
  some.Equals("kind", kWantedKind);
  std::printf(
      "A listing of %i records through CListing takes %s the CPU time of one "
      "by ListRecords*, one with a condition %s.\n\n",
      records, Digits(Compare(table, {}, all * name, rounds), " times").c_str(),
      Digits(Compare(table, some, all / 100 * name, rounds), "").c_str());
}

}  // namespace bench
