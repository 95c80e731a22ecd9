// Uses the installed library: exits with 0 when a column works.

#include <kivdb/kivdb.h>

int main() {
  KivDB::CColumn port;
  int number = 0;
  const bool works = port.SetData("8443") == KivDB::kOk &&
                     port.GetDataInt(number) == KivDB::kOk && number == 8443;
  return works ? 0 : 1;
}
