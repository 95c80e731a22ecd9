// backup: an archive of all tables.

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <set>

#include "archive/packing.h"
#include "archive/reader.h"
#include "archive/writer.h"
#include "change.h"
#include "commands.h"
#include "disk.h"
#include "new_file.h"
#include "store.h"

namespace tool {
namespace {

// A file among the tables would be one of them.
void RefuseInside(const std::string& root, const std::string& file) {
  namespace fs = std::filesystem;
  std::error_code error;
  std::set<fs::path> ours;
  for (const char* path : {"/kiv", "/kiv/schema", "/kiv/database"}) {
    ours.insert(fs::canonical(root + path, error));
  }
  fs::path directory = fs::canonical(ParentOf(file), error);
  for (; directory.has_relative_path(); directory = directory.parent_path()) {
    if (ours.count(directory) != 0) EndTrouble(file, "lies in the database");
  }
}

// What can be read back.
CArchiveSum SumOf(int file, const std::string& name) {
  if (lseek(file, 0, SEEK_SET) != 0) {
    EndTrouble(name, WithError("cannot read", errno));
  }
  CArchiveReader archive(file, name);
  CArchiveSum sum;
  while (archive.Next()) {
    sum.Begin(archive.entry());
    archive.ReadContent([&](std::string_view piece) { sum.Add(piece); });
  }
  return sum;
}

void WriteFile(const CContext& context, const std::string& name) {
  CNewFile file(name);
  CArchiveWriter archive(name, [&](std::string_view bytes) {
    return WriteAll(file.get(), bytes);
  });
  Pack(context, archive);
  archive.Finish();
  file.Sync();
  if (!(SumOf(file.get(), name) == archive.sum())) {
    EndTrouble(name, "does not read as it was written");
  }
  file.Put();
}

// What goes wrong there is told when the output is finished.
void WriteOutput(const CContext& context) {
  if (context.out.IsTerminal()) {
    EndTrouble("standard output", "is a terminal, which takes no archive");
  }
  CArchiveWriter archive("standard output", [&](std::string_view bytes) {
    context.out.Write(bytes);
    return true;
  });
  if (Pack(context, archive)) archive.Finish();
}

}  // namespace

void Backup(const CContext& context, const CCopyOptions& options) {
  const CStore store(context.globals.root);  // ends where there is none
  SetWait(context.globals);
  if (options.file == "-") {
    WriteOutput(context);
  } else {
    RefuseInside(store.root(), options.file);
    WriteFile(context, options.file);
  }
}

}  // namespace tool
