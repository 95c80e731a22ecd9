// What a thread of a stress run has intended, and what was acknowledged.

#ifndef BENCH_STRESS_JOURNAL_H_
#define BENCH_STRESS_JOURNAL_H_

#include <map>

#include "fixture.h"

namespace bench {

constexpr int kShared = 8;  // the records 1 to 8 are all threads'

struct CEntry {
  char mark;  // '?' for an intention, '!' for what is acknowledged
  char kind;  // 'a'dd, 'u'pdate or 'd'elete
  int id;     // 0 before an add
  int value;  // for the thread's column
};

// What the thread's column of one record may hold.
struct CState {
  int low = 0;   // acknowledged last
  int high = 0;  // intended last
  bool mayBeGone = false;

  bool Allows(int value) const { return low <= value && value <= high; }
};

// What all entries say.
struct CHistory {
  std::map<int, CState> records;  // the shared ones and the thread's own
  std::vector<int> added, deleted;
  int value = 0;  // the last one

  CHistory() {
    for (int id = 1; id <= kShared; ++id) records[id] = {};
  }

  void Apply(const CEntry& entry) {
    const bool isDone = entry.mark == '!';
    value = entry.value;
    if (entry.kind == 'u') {
      CState& state = records[entry.id];
      state.high = value;
      if (isDone) state.low = value;
    } else if (entry.kind == 'd') {
      records[entry.id].mayBeGone = true;
      if (!isDone) return;
      records.erase(entry.id);
      deleted.push_back(entry.id);
    } else if (isDone) {
      records[entry.id] = {value, value, false};
      added.push_back(entry.id);
    }
  }
};

// The file of one thread.
class CJournal {
 public:
  CJournal(const std::string& directory, int slot)
      : m_path(directory + "/journal." + std::to_string(slot)) {}

  CHistory Read() const {
    CHistory history;
    std::ifstream file(m_path);
    char line[kLine];
    while (file.read(line, kLine)) {
      char* rest = line + 2;
      const long id = std::strtol(rest, &rest, 10);
      const long value = std::strtol(rest, nullptr, 10);
      history.Apply(
          {line[0], line[1], static_cast<int>(id), static_cast<int>(value)});
    }
    return history;
  }

  void Write(const CEntry& entry) {
    if (!m_file.is_open()) m_file.open(m_path, std::ios::app);
    char line[kLine + 1];
    std::snprintf(line, sizeof(line), "%c%c %10i %17i\n", entry.mark,
                  entry.kind, entry.id, entry.value);
    m_file.write(line, kLine).flush();
    Require(m_file.good(), "cannot write a journal");
  }

 private:
  // All lines are of one length, so that none lies in two pages: a kill may cut
  // a write between pages.
  static constexpr int kLine = 32;

  const std::string m_path;
  std::ofstream m_file;
};

}  // namespace bench

#endif  // BENCH_STRESS_JOURNAL_H_
