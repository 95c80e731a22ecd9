// diff: what differs from another database.

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "commands.h"
#include "comparison.h"

namespace tool {
namespace {

std::unique_ptr<CSide> OpenOther(const std::string& other) {
  struct stat status {};
  if (stat(other.c_str(), &status) != 0) EndTrouble(other, strerror(errno));
  if (S_ISDIR(status.st_mode)) return MakeRootSide(other, other);
  if (!S_ISREG(status.st_mode)) {
    EndTrouble(other, "neither a directory nor a regular file");
  }
  const CCreationFile file = ReadCreationFile(other);
  return MakeFileSide(file.Tables(file.Placeholders()));
}

}  // namespace

void Diff(const CContext& context, const CDiffOptions& options) {
  const auto here = MakeRootSide(context.globals.root, "");
  const auto other = OpenOther(options.other);
  if (PrintDifferences(context, *here, *other)) {
    context.report.Raise(Verdict::kNo);
  }
}

}  // namespace tool
