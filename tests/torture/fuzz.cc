// A fuzzer, whose target KIVDB_FUZZ_TARGET names; here those of the library,
// with models of what its texts mean.

#include "fuzz.h"

namespace KivDB {
namespace {

using Texts = std::vector<std::string>;

constexpr char kRecord[] = "kiv/database/t/1";

// The pieces of a text; there is none behind a separator at the end.
Texts Split(const std::string& text, char separator) {
  Texts pieces;
  std::istringstream rest(ToZero(text));
  for (std::string s; std::getline(rest, s, separator);) pieces.push_back(s);
  return pieces;
}

std::string Without(void (*blanks)(char*), std::string text) {
  blanks(text.data());
  return ToZero(text);
}

std::string Value(const std::string& stored) {
  return Unescape(stored).substr(0, 2047);
}

// A record that is the first line of an input, and the text behind it.
struct CCase {
  explicit CCase(const std::string& input)
      : line(input.substr(0, input.find('\n'))),
        text(ToZero(input.substr(line.size()))),
        stored(Split("1|" + line, '|')),
        isWhole(stored.size() > 2) {
    Put(kRecord, line);
    stored.resize(3);
    table.Open();
  }
  std::string line;
  std::string text;
  Texts stored;  // the id and the values
  bool isWhole;
  CTable table{".", "t"};
};

// Splits "key=value"; gives the place of the column, or 3.
std::size_t TakeKey(std::string& pair) {
  const std::string key = pair.substr(0, pair.find('='));
  const Texts columns{"id", "a", "b"};
  const auto found =
      std::find(columns.begin(), columns.end(), Without(CUtils::strstrip, key));
  pair = Without(CUtils::trim, pair.substr(key.size()).erase(0, 1));
  return static_cast<std::size_t>(found - columns.begin());
}

void ReadRecord(const std::string& input) {
  CCase c(input);
  Expect(c.isWhole ? kOk : kBadRecord, c.table.readRecord("1"));
  if (!c.isWhole) return;
  Expect(Value(c.stored[1]), c.table.getcolumn("a")->data());
  Expect(Value(c.stored[2]), c.table.getcolumn("b")->data());
}

void MeetCondition(const std::string& input) {
  CCase c(input);
  bool holds =
      c.isWhole && c.text.substr(0, c.text.find(',')).find('=') < c.text.size();
  for (std::string& pair : Split(c.text, ',')) {
    if (pair.find('=') == pair.npos) break;
    const std::size_t column = TakeKey(pair);
    holds = holds && column < 3 && Value(c.stored[column]) == Value(pair);
  }
  Expect(holds ? kOk : kNoRecord, c.table.ListRecordsStart(c.text.c_str()));
}

// A "+" in front asks for an id.
void AddRecord(const std::string& input) {
  const std::string directory = "kiv/database/t";
  const bool isAllocated = input[0] == '+';
  const std::string text = ToZero(input.substr(isAllocated ? 1 : 0));
  Texts fields = Split((isAllocated ? "1," : "") + text, ',');
  for (std::string& field : fields) {
    field = Without(CUtils::trim, field).substr(0, 2047);
  }
  const bool isTaken =
      fields.size() == 3 && (fields[1] + fields[2]).find('\n') == text.npos;
  fs::remove_all(directory);
  fs::create_directories(directory);
  CTable table(".", "t");
  table.Open();
  int id = 0;
  Expect(isTaken ? kOk : kSyntax,
         table.addRecord(text.c_str(), isAllocated ? &id : nullptr, 0));
  if (isTaken) id = static_cast<int>(strtol(fields[0].c_str(), nullptr, 10));
  const std::string name = std::to_string(id);
  Expect(isTaken ? name + " " + fields[1] + "|" + fields[2] + "|" : "(none)",
         List(directory) + Get(directory + "/" + name));
}

void UpdateRecord(const std::string& input) {
  CCase c(input);
  bool isTaken = true;
  Texts values = c.stored;
  for (std::string& pair : Split(c.text, ',')) {
    const std::size_t column = TakeKey(pair);
    isTaken = isTaken && column < 3;
    if (isTaken) values[column] = pair;
  }
  const std::string line = values[1] + "|" + values[2] + "|";
  isTaken = isTaken && line.find('\n') == line.npos;
  const int status = isTaken ? kOk : kSyntax;
  Expect(c.isWhole ? status : kBadRecord,
         c.table.updateRecord("1", c.text.c_str()));
  Expect(c.isWhole && isTaken ? line : c.line, Get(kRecord));
}

void ReadSchema(const std::string& input) {
  Put("kiv/schema/t", input);
  Put(kRecord, std::string(9999, '|'));
  const std::string line = input.substr(0, input.find('\n'));
  CTable table(".", "t");
  Expect(line.empty() ? kEmptySchema : kOk, table.Open());
  std::vector<CColumn*> columns;
  Expect(kOk, table.ListRecordsStart(columns, nullptr));
  std::string wanted;
  for (std::string& spec : Split(line, '|')) {
    CColumn column;
    if (column.SetInfo(spec.data()) != kOk) break;
    wanted += column.name() + std::string("|");
  }
  std::string got;
  for (const CColumn* column : columns) {
    got += column->name() + std::string("|");
  }
  Expect(wanted, got);
}

void SetColumn(const std::string& input) {
  const std::string name = ToZero(input.substr(0, input.find('[')));
  const bool isNamed = input[name.size()] == '[';
  CColumn column("old");
  Expect(!isNamed, column.SetInfo(input.data()) == kNoType);
  Expect(isNamed ? name : "old", column.name());
}

FuzzTarget Start() {
  umask(0);
  Put("kiv/schema/t", "id[int]|a[bigint]|b[varchar]");
  ZelSetSink([](ZelLevel, int, const char*) {});
  FuzzTargets targets{{"record", ReadRecord}, {"condition", MeetCondition},
                      {"add", AddRecord},     {"update", UpdateRecord},
                      {"schema", ReadSchema}, {"column", SetColumn}};
#ifdef KIVDB_FUZZ_TOOL
  targets.merge(ToolTargets());
#endif
  return targets[std::getenv("KIVDB_FUZZ_TARGET")];
}

}  // namespace
}  // namespace KivDB

// A byte in a file counts each.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data,
                                      std::size_t size) {
  static const auto target = KivDB::Start();
  if (target == nullptr) std::exit(77);
  static const int count = open("count", O_WRONLY | O_CREAT | O_APPEND, 0600);
  if (write(count, "", 1) != 1) std::abort();
  target({reinterpret_cast<const char*>(data), size});
  return 0;
}
