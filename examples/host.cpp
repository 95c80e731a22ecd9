// A host program to copy from.  It keeps the database of a small appliance:
//
//   kivdb_host CREATION_FILE ROOT
//
// It opens the database below ROOT, creating it from CREATION_FILE when there
// is none, adds the accounts of this machine, and shows how records are looked
// up, listed, read, changed and deleted.  It may be run again on the same ROOT.
// Afterwards look at ROOT/kiv with ls and cat: a record is a file, a table is a
// directory.

#include <kivdb/kivdb.h>
#include <pwd.h>
#include <sys/types.h>

#include <cstdio>
#include <cstdlib>

using KivDB::CConditionText;
using KivDB::CKivDatabase;
using KivDB::CListing;
using KivDB::CRecordText;
using KivDB::CRow;
using KivDB::CTable;
using KivDB::CTableLock;
using KivDB::CUpdateText;
using KivDB::kOk;

namespace {

// Prints what failed, if anything did.  The library has written a line that
// says more to the log.
bool Succeeds(const char* what, int status) {
  if (status == kOk) return true;
  std::fprintf(stderr, "%s: %s\n", what, KivDB::StatusText(status));
  return false;
}

// Prints the records that meet the condition as "  table/id: value | value".
bool Print(const CTable& table, const CConditionText& condition = {}) {
  CListing listing(table, condition);
  for (const CRow& row : listing) {
    std::printf("  %s/%s:", table.name(), row.id());
    for (std::size_t i = 1; i < row.size(); ++i) {
      std::printf("%s %s", i > 1 ? " |" : "", row[i].data());
    }
    std::printf("\n");
  }
  return Succeeds("listing", listing.status());
}

bool Open(CKivDatabase& database, const char* creationFile, const char* root) {
  std::printf("Opening the database below %s\n", root);
  int status = database.open(root);
  if (status == KivDB::kNoSchemaDirectory) {
    std::printf("  none there: creating it from %s\n", creationFile);
    status = database.Create(creationFile, 7, nullptr);
    if (status == kOk) status = database.open();
  }
  return Succeeds("opening the database", status);
}

// Adds one account of this machine, unless an earlier run has.  Another process
// that does the same waits for the lock.
bool AddAccount(CTable& accounts, const passwd& account) {
  const CTableLock lock(accounts);
  if (!lock.isHeld()) return Succeeds("locking a table", KivDB::kInvalid);
  CListing same(accounts, CConditionText().Equals("name", account.pw_name));
  if (same.begin() != same.end()) return true;
  if (!Succeeds("looking for an account", same.status())) return false;

  const CRecordText record(account.pw_name, account.pw_dir, account.pw_shell,
                           account.pw_uid, account.pw_gid);
  int id = 0;
  const int status = accounts.addRecord(record.c_str(), &id, 0);
  if (!Succeeds("adding an account", status)) return false;
  std::printf("  added %s/%i: %s\n", accounts.name(), id, account.pw_name);
  return true;
}

bool AddAccounts(CTable& accounts) {
  std::printf("Adding the accounts of this machine\n");
  bool ok = true;
  setpwent();
  while (const passwd* account = ok ? getpwent() : nullptr) {
    ok = AddAccount(accounts, *account);
  }
  endpwent();
  std::printf("  %i accounts in the table\n", accounts.records());
  return ok;
}

bool FindServices(CTable& services) {
  std::printf("Services that are encrypted and use tcp\n");
  CConditionText condition;
  condition.Equals("protocol", "tcp").Equals("encrypted", "yes");
  if (!Print(services, condition)) return false;

  std::printf("One whose id is known, without a search\n");
  char name[64];
  int port = 0;
  int status = services.readRecord("2");
  if (status == kOk) status = services.GetValStr("name", name, sizeof(name));
  if (status == kOk) status = services.GetValInt("port", port);
  if (!Succeeds("reading a service", status)) return false;
  std::printf("  %s listens on port %i\n", name, port);
  return true;
}

bool ChangeSetting(CTable& settings) {
  std::printf("Changing a setting\n");
  const CUpdateText update = CUpdateText().Set("value", "welcome");
  const int status = settings.updateRecord("4", update.c_str());
  return Succeeds("updating a setting", status) &&
         Print(settings, CConditionText().Equals("id", 4));
}

bool DeleteServices(CTable& services) {
  std::printf("Deleting the services that nobody should use any more\n");
  for (const char* id : {"1", "3"}) {
    const int status = services.deleteRecord(id);
    if (!Succeeds("deleting a service", status)) return false;
    std::printf("  deleted %s/%s\n", services.name(), id);
  }
  return true;
}

// Reads the table of sizes and drops it, if it is still there.
bool DropSizes(CKivDatabase& database) {
  CTable* sizes = database.GetTable("sizes");
  if (sizes == nullptr) return true;
  std::printf("Reading a number beyond 32 bits, and dropping its table\n");
  CListing listing(*sizes, CConditionText().Equals("id", 3));
  for (const CRow& row : listing) {
    const auto count = row.Get<long>("count");
    if (count) std::printf("  there are %li %s\n", *count, row["name"].data());
  }
  return Succeeds("listing", listing.status()) &&
         Succeeds("clearing a table", sizes->clear()) &&
         Succeeds("dropping a table", database.DropTable("sizes"));
}

bool Run(CKivDatabase& database, const char* creationFile, const char* root) {
  if (!Open(database, creationFile, root)) return false;
  CTable* settings = database.GetTable("settings");
  CTable* accounts = database.GetTable("accounts");
  CTable* services = database.GetTable("services");
  if (settings == nullptr || accounts == nullptr || services == nullptr) {
    return Succeeds("the tables of an appliance", KivDB::kNotFound);
  }
  std::printf("Settings, with their placeholders filled in\n");
  if (!Print(*settings)) return false;
  if (!AddAccounts(*accounts) || !Print(*accounts)) return false;
  if (!FindServices(*services) || !ChangeSetting(*settings)) return false;
  if (!DeleteServices(*services) || !DropSizes(database)) return false;

  std::printf("Removing marker entries from every table\n");
  if (!Succeeds("recovering", database.recover())) return false;
  std::printf("The services that remain: %i\n", services->records());
  if (!Print(*services)) return false;
  std::printf("Now try: cat %s/kiv/database/services/2\n", root);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s CREATION_FILE ROOT\n", argv[0]);
    return EXIT_FAILURE;
  }
  CKivDatabase* database = CKivDatabase::Instance();
  const bool ok = database != nullptr && Run(*database, argv[1], argv[2]);
  CKivDatabase::Delete();
  return ok ? EXIT_SUCCESS : EXIT_FAILURE;
}
