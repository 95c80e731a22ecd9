// A new name is on disk when its directory is.

#include "core/sync.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "base/descriptor.h"
#include "zel.h"

namespace KivDB {
namespace {

bool HasParent(const CPath& path) {
  return std::strcmp(path.text(), ".") != 0 &&
         std::strcmp(path.text(), "/") != 0;
}

}  // namespace

void SyncPath(const char* path) {
  const CDescriptor file(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (file.IsOpen()) safe_fsync(file.Get());
}

CPath NearestExisting(CPath path) {
  while (HasParent(path) && zel_access(path.text(), F_OK) != 0) path.ToParent();
  return path;
}

void SyncUpTo(const CPath& top, CPath directory) {
  SyncPath(directory.text());
  while (std::strcmp(directory.text(), top.text()) != 0 &&
         HasParent(directory)) {
    directory.ToParent();
    SyncPath(directory.text());
  }
}

}  // namespace KivDB
