// The samples, and the table and the series that are made of them.

#ifndef BENCH_REPORT_H_
#define BENCH_REPORT_H_

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace bench {

constexpr std::size_t kContestants = 4;
constexpr std::array<const char*, kContestants> kNames = {
    "floor", "library", "SQLite rollback", "SQLite WAL"};

using Samples = std::vector<double>;  // seconds, one for each round

// One line of the table; a contestant that is not there has no samples.
struct CRow {
  std::string operation;
  std::string place;
  int records;
  std::array<Samples, kContestants> samples;
};

inline double Median(Samples samples) {
  if (samples.empty()) return 0;
  const auto middle =
      samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
  std::nth_element(samples.begin(), middle, samples.end());
  return *middle;
}

// The median of the rounds' ratios.
inline double MedianRatio(Samples samples, const Samples& base) {
  if (samples.size() != base.size()) return 0;
  for (std::size_t i = 0; i < base.size(); ++i) samples[i] /= base[i];
  return Median(samples);
}

// Collects the samples of each benchmark under its name.
class CReporter : public benchmark::BenchmarkReporter {
 public:
  struct CCollected {
    Samples samples;
    benchmark::IterationCount iterations = 0;  // of one sample
  };

  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      CCollected& collected = m_collected[run.run_name.function_name];
      collected.iterations = run.iterations;
      collected.samples.push_back(run.real_accumulated_time /
                                  static_cast<double>(run.iterations));
      if (!run.error_occurred) continue;
      m_hasFailed = true;
      std::fprintf(stderr, "%s: %s\n", run.run_name.function_name.c_str(),
                   run.error_message.c_str());
    }
  }

  const CCollected& Get(const std::string& name) { return m_collected[name]; }
  bool HasFailed() const { return m_hasFailed; }

 private:
  std::map<std::string, CCollected> m_collected;
  bool m_hasFailed = false;
};

// A number with three digits, followed by its unit; "-" for nothing.
inline std::string Digits(double number, const char* unit) {
  if (number <= 0) return "-";
  char text[32];
  const int decimals = number < 9.995 ? 2 : number < 99.95 ? 1 : 0;
  std::snprintf(text, sizeof(text), "%.*f%s", decimals, number, unit);
  return text;
}

inline std::string Time(double seconds) {
  if (seconds < 999.5e-6) return Digits(seconds * 1e6, " us");
  if (seconds < 999.5e-3) return Digits(seconds * 1e3, " ms");
  return Digits(seconds, " s");
}

inline void PrintTable(const std::vector<CRow>& rows) {
  const auto print = [](const char* operation, const char* place,
                        const std::array<std::string, 7>& cells) {
    std::printf("| %-17s | %-5s |", operation, place);
    for (std::size_t i = 0; i < cells.size(); ++i) {
      std::printf(" %*s |", i < 3 ? 8 : 15, cells[i].c_str());
    }
    std::printf("\n");
  };
  print("operation", "place",
        {"records", kNames[0], kNames[1], kNames[2], kNames[3],
         "library / floor", "library/SQLite"});
  print(":--", ":--", {"--:", "--:", "--:", "--:", "--:", "--:", "--:"});
  for (const CRow& row : rows) {
    const auto& [floor, library, rollback, wal] = row.samples;
    const Samples& faster = Median(rollback) < Median(wal) ? rollback : wal;
    print(row.operation.c_str(), row.place.c_str(),
          {std::to_string(row.records), Time(Median(floor)),
           Time(Median(library)), Time(Median(rollback)), Time(Median(wal)),
           Digits(MedianRatio(library, floor), ""),
           Digits(MedianRatio(library, faster), "")});
  }
}

// Writes the rows with tabs between their values and medians in seconds.
inline void WriteSeries(const char* path, const std::vector<CRow>& rows) {
  std::ofstream file(path);
  for (const CRow& row : rows) {
    file << row.operation << '\t' << row.place << '\t' << row.records;
    for (const Samples& samples : row.samples) file << '\t' << Median(samples);
    file << '\n';
  }
}

}  // namespace bench

#endif  // BENCH_REPORT_H_
