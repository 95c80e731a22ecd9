// restore: a new database from an archive.

#include <unistd.h>

#include "archive/reader.h"
#include "archive/unpacking.h"
#include "change.h"
#include "commands.h"
#include "disk.h"
#include "input.h"
#include "staging.h"

namespace tool {
namespace {

void Unpack(CArchiveReader& archive, const CSignalHold& hold,
            CUnpacker& unpacker) {
  while (archive.Next()) {
    if (hold.IsPending()) EndTrouble(archive.name(), "interrupted");
    unpacker.Add(archive);
  }
  unpacker.Finish(archive.name());
}

}  // namespace

void Restore(const CContext& context, const CCopyOptions& options) {
  const CDescriptor input = OpenInput(options.file);
  const std::string name = InputName(options.file);
  if (isatty(input.get()) == 1) {
    EndTrouble(name, "is a terminal, which gives no archive");
  }
  const std::string& root = context.globals.root;
  RefuseDatabase(root);
  BecomeOwner(root);
  SetWait(context.globals);
  const CSignalHold hold;  // outlives the stage, which a signal must find gone
  CStaging staging(root);
  staging.Make();
  CUnpacker unpacker(context, staging.path());
  CArchiveReader archive(input.get(), name);
  Unpack(archive, hold, unpacker);
  staging.Take();
  unpacker.Settle(root, staging.KeepsKiv());
}

}  // namespace tool
