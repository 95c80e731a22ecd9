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

// What a stored value reads as.
std::string Undo(const std::string& stored) {
  std::string value;
  for (const char* at = stored.c_str(); *at != '\0'; ++at) {
    const std::size_t form = std::string("\\nrt").find(at[1]);
    if (*at == '\\' && form < 4) {
      value += "\\\n\r\t"[form];
      at += 1;
    } else if (*at == '\\' && at[1] == 'x' && isxdigit(at[2]) &&
               isxdigit(at[3]) && (at[2] != '0' || at[3] != '0')) {
      value +=
          static_cast<char>(std::stoi(std::string(at + 2, 2), nullptr, 16));
      at += 3;
    } else {
      value += *at;
    }
  }
  return value.substr(0, 2047);
}

// A record that is the first line of an input, and the text behind it.
struct CCase {
  explicit CCase(const std::string& input)
      : line(input.substr(0, input.find('\n'))),
        text(ToZero(input.substr(line.size()))),
        stored(Split(line, '|')) {
    Put(kRecord, line);
    isWhole = stored.size() >= 2;
    stored.resize(2);
    stored.insert(stored.begin(), "1");
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
  Expect(Undo(c.stored[1]), c.table.getcolumn("a")->data());
  Expect(Undo(c.stored[2]), c.table.getcolumn("b")->data());
  Expect(c.stored[1], Unescape(Escape(c.stored[1])));
}

void MeetCondition(const std::string& input) {
  CCase c(input);
  bool holds =
      c.isWhole && c.text.substr(0, c.text.find(',')).find('=') < c.text.size();
  for (std::string& pair : Split(c.text, ',')) {
    if (pair.find('=') == pair.npos) break;
    const std::size_t column = TakeKey(pair);
    holds = holds && column < 3 && Undo(c.stored[column]) == Undo(pair);
  }
  Expect(holds ? kOk : kNoRecord, c.table.ListRecordsStart(c.text.c_str()));
}

// A "+" in front asks for an id.
void AddRecord(const std::string& input) {
  const bool isAllocated = input[0] == '+';
  const std::string text(input.c_str() + (isAllocated ? 1 : 0));
  Texts fields = Split(text, ',');
  if (isAllocated) fields.insert(fields.begin(), "1");
  for (std::string& field : fields) {
    field = Without(CUtils::trim, field).substr(0, 2047);
  }
  fields.resize(fields.size() == 3 ? 3 : 0);
  const std::string line =
      fields.empty() ? "\n" : fields[1] + "|" + fields[2] + "|";
  const bool isTaken = line.find('\n') == line.npos;
  fs::remove_all("kiv/database/t");
  fs::create_directories("kiv/database/t");
  CTable table(".", "t");
  table.Open();
  int id = 0;
  Expect(isTaken ? kOk : kSyntax,
         table.addRecord(text.c_str(), isAllocated ? &id : nullptr, 0));
  if (isTaken) id = static_cast<int>(strtol(fields[0].c_str(), nullptr, 10));
  const std::string name = std::to_string(id);
  Expect(isTaken ? name + " " : "", List("kiv/database/t"));
  Expect(isTaken ? line : "(none)", Get("kiv/database/t/" + name));
}

void UpdateRecord(const std::string& input) {
  CCase c(input);
  bool isTaken = c.isWhole;
  Texts values = c.stored;
  for (std::string& pair : Split(c.text, ',')) {
    const std::size_t column = TakeKey(pair);
    isTaken = isTaken && column < 3;
    if (isTaken) values[column] = pair;
  }
  const std::string line = values[1] + "|" + values[2] + "|";
  isTaken = isTaken && line.find('\n') == line.npos;
  Expect(isTaken     ? kOk
         : c.isWhole ? kSyntax
                     : kBadRecord,
         c.table.updateRecord("1", c.text.c_str()));
  Expect(isTaken ? line : c.line, Get(kRecord));
}

// Sets the name to that of a spec "name[type]".
int ParseSpec(const std::string& spec, std::string& name) {
  const std::size_t open = spec.find('[');
  if (open == spec.npos) return kNoType;
  name = spec.substr(0, open);
  const std::string type = spec.substr(open, spec.find(']', open) - open);
  const bool isType = type == "[int" || type == "[bigint" || type == "[varchar";
  return isType ? kOk : kUnknownType;
}

void ReadSchema(const std::string& input) {
  Put("kiv/schema/t", input);
  Put(kRecord, std::string(9999, '|'));
  const std::string line = input.substr(0, input.find('\n'));
  CTable table(".", "t");
  Expect(line.empty() ? kEmptySchema : kOk, table.Open());
  Texts specs = Split(line, '|');
  std::vector<CColumn*> columns;
  Expect(kOk, table.ListRecordsStart(columns, nullptr));
  std::string name;
  for (const CColumn* column : columns) {
    Expect(kOk, specs.empty() ? -1 : ParseSpec(specs.front(), name));
    Expect(name, column->name());
    specs.erase(specs.begin());
  }
  if (!specs.empty()) Expect(true, ParseSpec(specs.front(), name) != kOk);
}

void SetColumn(const std::string& input) {
  CColumn column("old");
  std::string name = "old";
  Expect(ParseSpec(ToZero(input), name), column.SetInfo(input.data()));
  Expect(name, column.name());
}

FuzzTargets Targets() {
  FuzzTargets targets{{"record", ReadRecord}, {"condition", MeetCondition},
                      {"add", AddRecord},     {"update", UpdateRecord},
                      {"schema", ReadSchema}, {"column", SetColumn}};
#ifdef KIVDB_FUZZ_TOOL
  targets.merge(ToolTargets());
#endif
  return targets;
}

}  // namespace
}  // namespace KivDB

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data,
                                      std::size_t size) {
  static const auto target = KivDB::Targets()[std::getenv("KIVDB_FUZZ_TARGET")];
  if (target == nullptr) std::exit(77);
  static const int file = open("count", O_WRONLY | O_CREAT, 0600);
  static std::size_t count = 0;
  ++count;
  if (pwrite(file, &count, sizeof(count), 0) < 0) std::abort();
  target({reinterpret_cast<const char*>(data), size});
  return 0;
}

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  umask(0);
  KivDB::Put("kiv/schema/t", "id[int]|a[bigint]|b[varchar]");
  ZelSetSink([](ZelLevel, int, const char*) {});
  return 0;
}
