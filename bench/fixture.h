// What all contestants work on: the records and the creation file.

#ifndef BENCH_FIXTURE_H_
#define BENCH_FIXTURE_H_

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

constexpr char kTable[] = "/kiv/database/records";
constexpr char kSchema[] = "id[int]|name[varchar]|kind[varchar]|note[varchar]";
// One record in 100 is of this kind.
constexpr char kWantedKind[] = "kind-07";
// Updates alternate between these, of one length, so that each changes a value.
constexpr const char* kUpdates[] = {
    "note=the quick brown fox jumps over a dog",
    "note=pack my box with some liquor jugs!!!"};
constexpr int kNoteAt = 5;

inline void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "cannot go on: %s\n", what);
  std::exit(EXIT_FAILURE);
}

// One record in all the forms that it is passed in: nobody formats while the
// clock runs.
struct CRecord {
  explicit CRecord(int number) : id(number), idText(std::to_string(number)) {
    const std::string digits = std::to_string(10'000'000 + number);
    name = "record-" + digits.substr(1);
    kind = "kind-" + digits.substr(digits.size() - 2);
    note = kUpdates[0] + kNoteAt;
    values = name + "," + kind + "," + note;
    text = idText + "," + values;
    content = name + "|" + kind + "|" + note + "|";
  }

  int id;
  std::string idText, name, kind, note;
  std::string values;   // as addRecord takes them
  std::string text;     // the same with the id in front
  std::string content;  // of the record's file
};

using Records = std::vector<CRecord>;

inline Records MakeRecords(int first, int count) {
  Records records;
  for (int i = 0; i < count; ++i) records.emplace_back(first + i);
  return records;
}

inline void WriteCreationFile(const std::string& path, int count) {
  std::ofstream file(path);
  file << "[bench]\n[records]\nschema = " << kSchema << "\n";
  for (const CRecord& record : MakeRecords(1, count)) {
    file << "rec_" << record.id << " = " << record.text << "\n";
  }
}

// Calls visit with the fields of each record of a creation file's text.
template <typename Visit>
bool VisitRecords(std::string_view text, Visit visit) {
  bool ok = true;
  while (!text.empty()) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(line.size() + 1);
    if (line.compare(0, 4, "rec_") != 0) continue;
    line.remove_prefix(line.find('=') + 2);
    std::array<std::string_view, 4> fields;
    for (std::string_view& field : fields) {
      field = line.substr(0, line.find(','));
      line.remove_prefix(std::min(field.size() + 1, line.size()));
    }
    ok = visit(fields) && ok;
  }
  return ok;
}

}  // namespace bench

#endif  // BENCH_FIXTURE_H_
