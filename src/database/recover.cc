// Recovering a database: its tables, one after another.

#include <kivdb/database.h>
#include <kivdb/status.h>

namespace KivDB {

int CKivDatabase::recover() {
  for (CTable* table : m_tables) {
    const int status = table->recover();
    if (status != kOk) return status;
  }
  return kOk;
}

}  // namespace KivDB
