// Moving through the library.

#include "removed.h"

#include <kivdb/status.h>

#include "report.h"

namespace tool {

std::string CRemoved::Move(const std::string& entry) {
  std::string moved;
  const int status = m_folder.Move(entry.c_str(), moved);
  if (status != KivDB::kOk) EndTrouble("", ReasonOf(status));
  return moved;
}

}  // namespace tool
