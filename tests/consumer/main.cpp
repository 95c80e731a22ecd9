// Uses the library and its stand-in: exits with 0 when both work.

#include <kivdb/kivdb.h>
#include <zel_control.h>

static int logged = 0;

int main() {
  ZelSetSink([](ZelLevel, int code, const char*) { logged = code; });
  const int status = KivDB::CColumn().GetDataStr(nullptr, 0);
  return status == KivDB::kInvalid && logged == status ? 0 : 1;
}
