// Making and removing of directory trees.

#include <limits.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "base/cancellation.h"
#include "zel.h"

namespace {

bool MakeDirectory(const char* path, mode_t mode) {
  if (mkdir(path, mode) == 0) return true;
  const int error = errno;
  // Whatever mkdir had against it, a directory that is there is enough.
  struct stat info {};
  if (stat(path, &info) == 0 && S_ISDIR(info.st_mode)) return true;
  errno = error == EEXIST ? ENOTDIR : error;
  return false;
}

// Removes the tree and gives an errno value, 0 on success.
int RemoveTree(std::string_view path) {
  std::error_code error;
  const auto removed = std::filesystem::remove_all(path, error);
  if (error) return error.value();
  return removed == 0 ? ENOENT : 0;
}

}  // namespace

bool CreateTreeA(const char* path, mode_t mode) {
  const size_t length = path == nullptr ? 0 : strlen(path);
  if (length == 0 || length >= PATH_MAX) {
    errno = length == 0 ? ENOENT : ENAMETOOLONG;
    return false;
  }
  char prefix[PATH_MAX];
  memcpy(prefix, path, length + 1);
  char* slash = prefix;
  while ((slash = strchr(slash + 1, '/')) != nullptr) {
    *slash = '\0';
    if (!MakeDirectory(prefix, mode)) return false;
    *slash = '/';
  }
  return MakeDirectory(prefix, mode);
}

bool DeleteTreeA(const char* path) {
  const KivDB::CCancellationHold hold;
  std::string_view name = path == nullptr ? "" : path;
  // With a slash behind it a symbolic link would be followed.
  while (name.size() > 1 && name.back() == '/') name.remove_suffix(1);
  int error = ENOMEM;
  try {
    error = RemoveTree(name);
  } catch (const std::exception&) {
    // Only the lack of memory throws.
  }
  if (error != 0) errno = error;
  return error == 0;
}
