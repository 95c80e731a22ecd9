// How deep the stack of a thread gets in the public operations, with all that
// they call:
//
//   kivdb_stack DIRECTORY
//
// Each runs on a small database in DIRECTORY, with its trace lines: where it
// succeeds, where it is refused, and without memory at every place where it
// asks for some.  Prints the names with the most bytes seen.

#include <kivdb/kivdb.h>

#include <filesystem>
#include <map>
#include <memory>
#include <new>
#include <utility>

#include "painted_stack.h"
#include "zel_control.h"

namespace {

long g_left = -1;  // allocations until one fails; below 0: none does

}  // namespace

void* operator new(std::size_t size) {
  if (g_left >= 0 && g_left-- == 0) throw std::bad_alloc();
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

namespace bench {
namespace {

namespace fs = std::filesystem;
using KivDB::CConditionText;
using KivDB::CKivDatabase;
using KivDB::CListing;
using KivDB::CTable;
using KivDB::kOk;

constexpr int kRecords = 10;

// What an operation works on.
struct CHost {
  std::string root, ini, shipped;
  std::unique_ptr<CKivDatabase> database;
  CTable* table = nullptr;
  int id = 0;
  std::vector<KivDB::CColumn*> columns;
  std::unique_ptr<CListing> listing;

  // A database of its own, and nothing left of the one before.
  void Begin() {
    listing.reset();
    columns.clear();
    fs::remove_all(root);
    database = std::make_unique<CKivDatabase>();
    Require(database->open(root.c_str()) == KivDB::kNoSchemaDirectory,
            "no database");
    Require(database->Create(ini.c_str(), 1, nullptr) == kOk, "create");
    Require(database->open() == kOk, "open");
    table = database->GetTable("records");
    Require(table != nullptr, "a table");
  }
};

struct CCase {
  const char* operation;  // as the library exports it
  int status;
  int (*run)(CHost& host);
  void (*prepare)(CHost& host) = nullptr;
};

void Close(CHost& host) { host.database = std::make_unique<CKivDatabase>(); }

void Erase(CHost& host) { fs::remove_all(host.root + "/kiv"); }

void Clear(CHost& host) { host.table->clear(); }

int Migrate(CHost& host, const char* columns) {
  return KivDB::MigrateTable(host.root.c_str(), "records", columns, {true});
}

constexpr char kColumns[] = "id:int,note:varchar,name:varchar";

// A migration that has exchanged the table and could not move the old one away.
void BreakOff(CHost& host) {
  const std::string removed = host.root + "/kiv/removed";
  std::ofstream(removed) << "in the way";
  Require(Migrate(host, kColumns) != kOk, "a migration that breaks off");
  fs::remove(removed);
}

// With another column, other records, and two less.
void WriteShipped(const std::string& path) {
  std::ofstream file(path);
  file << "[bench]\n[records]\nschema = " << kSchema << "|more[int]\n";
  for (const CRecord& record : MakeRecords(3, kRecords)) {
    file << "rec_" << record.id - 2 << " = " << record.text << ",1\n";
  }
}

int Merge(CHost& host) {
  KivDB::CUpgradeOptions options;
  options.base = host.ini.c_str();
  options.prunes = true;
  std::vector<KivDB::CUpgradeStep> steps;
  const int status =
      KivDB::Upgrade(host.root.c_str(), host.shipped.c_str(), options, steps);
  Require(status != kOk || steps.size() > 4, "an upgrade that does something");
  return status;
}

constexpr char kCondition[] = "kind=kind-07";

int ListOthers(CHost& host) {
  int status = kOk;
  while (status == kOk) status = host.table->ListRecordsNext(kCondition);
  return status;
}

constexpr CCase kCases[] = {
    {"CKivDatabase::Create", kOk,
     [](CHost& h) { return h.database->Create(h.ini.c_str(), 1, "host"); },
     Erase},
    {"CKivDatabase::Create", KivDB::kInvalid,
     [](CHost& h) { return h.database->Create("/none", 1, nullptr); }},
    {"CKivDatabase::open", kOk,
     [](CHost& h) { return h.database->open(h.root.c_str()); }, Close},
    {"CKivDatabase::open", KivDB::kNoSchemaDirectory,
     [](CHost& h) { return h.database->open(h.ini.c_str()); }, Close},
    {"CKivDatabase::AddTable", kOk,
     [](CHost& h) { return h.database->AddTable("more", "id(int),x(int)"); }},
    {"CKivDatabase::AddTable", KivDB::kUnknownType,
     [](CHost& h) { return h.database->AddTable("more", "id"); }},
    {"CKivDatabase::CheckAddTable", kOk,
     [](CHost& h) {
       return h.database->CheckAddTable("records", h.ini.c_str());
     },
     [](CHost& h) { Clear(h), h.database->DropTable("records"); }},
    {"CKivDatabase::insertRecordsFromIni", kOk,
     [](CHost& h) {
       return h.database->insertRecordsFromIni("records", h.ini.c_str());
     }},
    {"CKivDatabase::DropTable", kOk,
     [](CHost& h) { return h.database->DropTable("records"); }, Clear},
    {"CKivDatabase::DropTable", KivDB::kNotEmpty,
     [](CHost& h) { return h.database->DropTable("records"); }},
    {"CKivDatabase::drop", kOk, [](CHost& h) { return h.database->drop(); }},
    {"CKivDatabase::recover", kOk,
     [](CHost& h) { return h.database->recover(); }},
    {"CTable::Open", kOk, [](CHost& h) { return h.table->Open("records"); }},
    {"CTable::Open", KivDB::kNoSchema,
     [](CHost& h) { return h.table->Open("none"); }},
    {"CTable::readRecord", kOk,
     [](CHost& h) { return h.table->readRecord("7"); }},
    {"CTable::readRecord", KivDB::kRecordUnreadable,
     [](CHost& h) { return h.table->readRecord("none"); }},
    {"CTable::GetRecord", kOk,
     [](CHost& h) { return h.table->GetRecord("7", h.columns); }},
    {"CTable::ListRecordsStart", kOk,
     [](CHost& h) { return h.table->ListRecordsStart(kCondition); }},
    {"CTable::ListRecordsStart", KivDB::kNotFound,
     [](CHost& h) { return h.table->ListRecordsStart(nullptr); }, Erase},
    {"CTable::ListRecordsNext", KivDB::kNoRecord, ListOthers,
     [](CHost& h) { h.table->ListRecordsStart(kCondition); }},
    {"CTable::records", kRecords, [](CHost& h) { return h.table->records(); }},
    {"CTable::addRecord", kOk,
     [](CHost& h) { return h.table->addRecord("a,b,c", &h.id, 0); }},
    {"CTable::addRecord", kOk,
     [](CHost& h) { return h.table->addRecord("7,a,b,c", nullptr, 0); }},
    {"CTable::addRecord", KivDB::kSyntax,
     [](CHost& h) { return h.table->addRecord("7,a", nullptr, 0); }},
    {"CTable::updateRecord", kOk,
     [](CHost& h) { return h.table->updateRecord("7", "note=a"); }},
    {"CTable::updateRecord", KivDB::kSyntax,
     [](CHost& h) { return h.table->updateRecord("7", "none=a"); }},
    {"CTable::deleteRecord", kOk,
     [](CHost& h) { return h.table->deleteRecord("7"); }},
    {"CTable::recover", kOk, [](CHost& h) { return h.table->recover(); }},
    {"CTable::clear", kOk, [](CHost& h) { return h.table->clear(); }},
    {"CTableLock::CTableLock", 1,
     [](CHost& h) -> int {
       return KivDB::CTableLock(*h.table).isHeld() ? 1 : 0;
     }},
    {"CListing::begin", kOk,
     [](CHost& h) { return h.listing->begin(), h.listing->status(); },
     [](CHost& h) {
       h.listing = std::make_unique<CListing>(
           *h.table, CConditionText().Equals("kind", "kind-07"));
     }},
    {"Upgrade", kOk, Merge},
    {"Upgrade", KivDB::kNoSchemaDirectory, Merge, Erase},
    {"MigrateTable", kOk, [](CHost& h) { return Migrate(h, kColumns); }},
    {"MigrateTable", KivDB::kSyntax, [](CHost& h) { return Migrate(h, "id"); }},
    {"FinishMigrations", kOk,
     [](CHost& h) {
       std::vector<std::string> tables;
       const int status = KivDB::FinishMigrations(h.root.c_str(), &tables);
       return status == kOk && tables.empty() ? int{KivDB::kNoRecord} : status;
     },
     BreakOff},
};

// The most that is seen, whichever allocation fails.
std::size_t Measure(const CCase& c, CHost& host, CPaintedStack& stack) {
  std::size_t most = 0;
  for (long pass = 0, left = -1; left < 0; ++pass) {
    host.Begin();
    if (c.prepare != nullptr) c.prepare(host);
    int status = KivDB::kNoMemory;
    const std::size_t depth = stack.DepthOf([&] {
      g_left = pass;
      try {
        status = c.run(host);
      } catch (const std::bad_alloc&) {
        status = KivDB::kNoMemory;
      }
      left = std::exchange(g_left, -1);
    });
    most = std::max(most, depth);
    if (left >= 0 && status != c.status) {
      std::fprintf(stderr, "%s: %i, not %i\n", c.operation, status, c.status);
      Require(false, "an operation does something else");
    }
  }
  return most;
}

void Run(const std::string& directory) {
  CHost host;
  host.root = directory + "/database";
  host.ini = directory + "/old.ini";
  host.shipped = directory + "/new.ini";
  fs::create_directory(host.root);
  WriteCreationFile(host.ini, kRecords);
  WriteShipped(host.shipped);
  CPaintedStack stack;
  std::map<std::string, std::size_t> most;
  ZelSetTrace(true);
  for (const CCase& c : kCases) {
    std::size_t& depth = most[c.operation];
    depth = std::max(depth, Measure(c, host, stack));
  }
  for (const auto& [operation, depth] : most) {
    std::printf("%s\t%zu\n", operation.c_str(), depth);
  }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  bench::Require(argc == 2, "one argument: a directory");
  bench::Run(argv[1]);
}
