// Uses the library as a host does: exits with 0 when a column and the
// stand-in's log work.

#include <kivdb/kivdb.h>
#include <zel_control.h>

namespace {

int code = 0;

}  // namespace

int main() {
  ZelSetSink([](ZelLevel /*level*/, int got, const char*) { code = got; });
  KivDB::CColumn port;
  int number = 0;
  const bool works = port.SetData("8443") == KivDB::kOk &&
                     port.GetDataInt(number) == KivDB::kOk && number == 8443;
  const bool isLogged =
      port.GetDataStr(nullptr, 0) == KivDB::kInvalid && code == KivDB::kInvalid;
  return works && isLogged ? 0 : 1;
}
