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
#include <string>
#include <vector>

using KivDB::CColumn;
using KivDB::CKivDatabase;
using KivDB::CTable;

namespace {

// Ends the program unless the operation succeeded.  The library has written a
// line that says why to the log.
void Check(int status, const std::string& what) {
  if (status == KivDB::kOk) return;
  std::fprintf(stderr, "%s failed with status %i\n", what.c_str(), status);
  std::exit(EXIT_FAILURE);
}

// Escapes what has a meaning in record texts and conditions, so that any text
// can be a value.  Reading undoes it.
std::string Escape(const std::string& value) {
  std::string escaped;
  for (const char c : value) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte <= ' ' || std::string("\\|,=").find(c) != std::string::npos) {
      char code[8];
      std::snprintf(code, sizeof(code), "\\x%02x", byte);
      escaped += code;
    } else {
      escaped += c;
    }
  }
  return escaped;
}

// Prints a record as "  table/id: value | value".
void PrintRecord(const CTable& table, const std::vector<CColumn*>& columns) {
  std::printf("  %s/%s:", table.name(), columns[0]->data());
  for (std::size_t i = 1; i < columns.size(); ++i) {
    std::printf("%s %s", i > 1 ? " |" : "", columns[i]->data());
  }
  std::printf("\n");
}

// Prints the records that meet the condition; null stands for all.
void PrintRecords(CTable& table, const char* condition) {
  std::vector<CColumn*> columns;
  int status = table.ListRecordsStart(columns, condition);
  while (status == KivDB::kOk) {
    PrintRecord(table, columns);
    status = table.ListRecordsNext(columns, condition);
  }
  if (status != KivDB::kNoRecord) Check(status, "listing");
}

CTable& FindTable(CKivDatabase& database, const char* name) {
  CTable* table = database.GetTable(name);
  if (table != nullptr) return *table;
  std::fprintf(stderr, "there is no table %s\n", name);
  std::exit(EXIT_FAILURE);
}

void OpenDatabase(CKivDatabase& database, const char* creationFile,
                  const char* root) {
  std::printf("Opening the database below %s\n", root);
  int status = database.open(root);
  if (status == KivDB::kNoSchemaDirectory) {
    std::printf("  none there: creating it from %s\n", creationFile);
    Check(database.Create(creationFile, 7, nullptr), "creating the database");
    status = database.open();
  }
  Check(status, "opening the database");
}

// Adds one account of this machine, unless an earlier run has.
void AddAccount(CTable& accounts, const passwd& account) {
  const std::string name = Escape(account.pw_name);
  const int found = accounts.ListRecordsStart(("name=" + name).c_str());
  if (found == KivDB::kOk) return;
  if (found != KivDB::kNoRecord) Check(found, "looking for an account");

  // An empty last field would not count as one, so the numbers go last.
  const std::string text = name + "," + Escape(account.pw_dir) + "," +
                           Escape(account.pw_shell) + "," +
                           std::to_string(account.pw_uid) + "," +
                           std::to_string(account.pw_gid);
  int id = 0;
  Check(accounts.addRecord(text.c_str(), &id, 0), "adding an account");
  std::printf("  added %s/%i: %s\n", accounts.name(), id, account.pw_name);
}

void AddAccounts(CTable& accounts) {
  std::printf("Adding the accounts of this machine\n");
  setpwent();
  while (const passwd* account = getpwent()) AddAccount(accounts, *account);
  endpwent();
  std::printf("  %i accounts in the table\n", accounts.records());
}

void LookUp(CTable& services) {
  std::printf("Looking up the service with the id 2\n");
  std::vector<CColumn*> columns;
  Check(services.GetRecord("2", columns), "looking up a service");
  PrintRecord(services, columns);

  std::printf("The same without a search, and its values one by one\n");
  Check(services.readRecord("2"), "reading a service");
  char name[64];
  int port = 0;
  Check(services.GetValStr("name", name, sizeof(name)), "getting the name");
  Check(services.GetValInt("port", port), "getting the port");
  std::printf("  %s listens on port %i\n", name, port);
}

void ReadSizes(CTable& sizes) {
  std::printf("Reading a number beyond 32 bits by the id of its record\n");
  long count = 0;
  Check(sizes.GetValBigInt("3", "count", count), "getting a size");
  std::printf("  there are %li ethernet addresses\n", count);
}

// What becomes of a record after it was added.
void ChangeSetting(CTable& settings) {
  std::printf("Changing a setting\n");
  Check(settings.updateRecord("4", "value = welcome"), "updating a setting");
  std::vector<CColumn*> columns;
  Check(settings.GetRecord("4", columns), "looking up a setting");
  PrintRecord(settings, columns);
}

void DeleteService(CTable& services, const char* id) {
  Check(services.deleteRecord(id), "deleting a service");
  std::printf("  deleted %s/%s\n", services.name(), id);
}

// Drops the table of sizes, which has served its purpose, if it is still there.
void DropSizes(CKivDatabase& database) {
  CTable* sizes = database.GetTable("sizes");
  if (sizes == nullptr) return;
  ReadSizes(*sizes);
  std::printf("Emptying and dropping a table\n");
  Check(sizes->clear(), "clearing a table");
  Check(database.DropTable("sizes"), "dropping a table");
  std::printf("  sizes is gone, and its directory with it\n");
}

void Run(CKivDatabase& database, const char* creationFile, const char* root) {
  OpenDatabase(database, creationFile, root);

  std::printf("Settings, with their placeholders filled in\n");
  PrintRecords(FindTable(database, "settings"), nullptr);

  CTable& accounts = FindTable(database, "accounts");
  AddAccounts(accounts);
  PrintRecords(accounts, nullptr);

  CTable& services = FindTable(database, "services");
  LookUp(services);
  std::printf("Services that are encrypted and use tcp\n");
  PrintRecords(services, "protocol=tcp,encrypted=yes");

  ChangeSetting(FindTable(database, "settings"));
  std::printf("Deleting the services that nobody should use any more\n");
  DeleteService(services, "1");
  DeleteService(services, "3");
  DropSizes(database);
  std::printf("Removing marker entries from every table\n");
  Check(database.recover(), "recovering the database");
  std::printf("The services that remain: %i\n", services.records());
  PrintRecords(services, nullptr);

  std::printf("Now try: cat %s/kiv/database/services/2\n", root);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s CREATION_FILE ROOT\n", argv[0]);
    return EXIT_FAILURE;
  }
  CKivDatabase* database = CKivDatabase::Instance();
  if (database == nullptr) return EXIT_FAILURE;
  Run(*database, argv[1], argv[2]);
  CKivDatabase::Delete();
  return EXIT_SUCCESS;
}
