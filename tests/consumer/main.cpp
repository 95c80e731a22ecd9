// Uses the installed library: exits with 0 when a column works.

#include <kivdb/kivdb.h>

#include <cstring>

int main() {
  KivDB::CColumn column;
  int port = 0;
  const bool works = column.SetInfo("port[int]") == KivDB::kOk &&
                     column.SetData("8443") == KivDB::kOk &&
                     column.GetDataInt(port) == KivDB::kOk && port == 8443 &&
                     std::strcmp(column.name(), "port") == 0;
  return works ? 0 : 1;
}
