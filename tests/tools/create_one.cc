// Creates a database with the library alone: create_one ROOT FILE ID HOST.
// Exits with the status of Create.

#include <kivdb/database.h>

#include <string>

int main(int argc, char** argv) {
  if (argc != 5) return 1;
  KivDB::CKivDatabase database;
  database.open(argv[1]);  // sets the root: there is nothing to open
  return database.Create(argv[2], std::stoi(argv[3]), argv[4]);
}
