// Looking at schemas and table directories.

#include "check/table_state.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "check/content.h"
#include "check/names.h"
#include "report.h"

namespace tool {
namespace {

// Bytes of a schema line; one that is longer is damaged.
constexpr std::size_t kSchemaMax = std::size_t{64} * 1024;

bool IsLink(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

// What cannot be looked at is not missing.
bool IsThere(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0) return true;
  if (errno == ENOENT || errno == ENOTDIR) return false;
  EndTrouble(path, WithError("cannot be read", errno));
}

// The first line of a schema file, as far as it can be one.
CLine ReadSchema(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return {errno, {}};
  if (!S_ISREG(status.st_mode)) return {EINVAL, {}};
  const CDescriptor file = OpenQuietly(AT_FDCWD, path);
  if (!file.isOpen()) return {errno, {}};
  CLine line;
  line.text.resize(kSchemaMax);
  std::size_t size = 0;
  while (size < kSchemaMax) {
    const ssize_t length =
        read(file.get(), line.text.data() + size, kSchemaMax - size);
    if (length < 0 && errno == EINTR) continue;
    if (length < 0) return {errno, {}};
    if (length == 0) break;
    size += static_cast<std::size_t>(length);
  }
  line.text.resize(size);
  line.text.resize(std::min(line.text.find('\n'), size));
  return line;
}

bool IsEmptyDirectory(int directory) {
  bool isEmpty = true;
  const int error = WalkEntries(
      directory, [&](const dirent& /*entry*/) { return isEmpty = false; });
  return isEmpty && error == 0;
}

void LookAtDirectory(const CStore& store, CTableState& state) {
  const std::string path = store.PathOf(state.name);
  state.hasDirectory = IsThere(path);
  state.isLinked = IsLink(path) || IsLink(store.root() + "/kiv/database");
  if (!state.hasDirectory) return;
  state.directory = OpenQuietly(AT_FDCWD, path, O_DIRECTORY);
  if (!state.directory.isOpen()) {
    state.directoryError = errno;
  } else {
    state.isEmpty = IsEmptyDirectory(state.directory.get());
  }
}

}  // namespace

bool CTableState::HasSchemaError() const {
  return IsUnusable() || !schema.isWhole || !ColumnTwice().empty() ||
         schema.line.size() >= kSchemaMax;
}

std::string CTableState::ColumnTwice() const {
  for (std::size_t i = 0; i < schema.columns.size(); ++i) {
    if (schema.Find(schema.columns[i].name) != i) return schema.columns[i].name;
  }
  return {};
}

std::string CTableState::Obstacle() const {
  if (HasSchemaError()) return "the schema has an error";
  return isLinked ? "it is behind a link" : "";
}

std::string CTableState::SchemaObstacle() const {
  const bool isBehindLink = isSchemaLinked || (hasDirectory && isLinked);
  if (isBehindLink) return "it is behind a link";
  return hasDirectory && !isEmpty ? "the table directory is not empty" : "";
}

CTableState LookAt(const CStore& store, const std::string& table) {
  CTableState state;
  state.name = table;
  const std::string path = store.SchemaPathOf(table);
  state.hasSchema = IsThere(path);
  state.isSchemaLinked = IsLink(store.root() + "/kiv/schema");
  if (state.hasSchema) {
    CLine line = ReadSchema(path);
    RequireResources(table, line.error);
    state.hasSchema = line.error != ENOENT || IsLink(path);
    state.schemaError = line.error;
    state.schema = ParseSchema(std::move(line.text));
  }
  LookAtDirectory(store, state);
  state.isLeftover =
      IsLeftoverName(table) || KindOf(table) == EntryKind::kTemporary;
  return state;
}

}  // namespace tool
