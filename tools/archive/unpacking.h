// Making a database of an archive.

#ifndef TOOLS_ARCHIVE_UNPACKING_H_
#define TOOLS_ARCHIVE_UNPACKING_H_

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "archive/reader.h"
#include "context.h"

namespace tool {

// Unpacks into an empty directory that nobody else knows.
class CUnpacker {
 public:
  CUnpacker(const CContext& context, std::string stage);

  // Lets what is still there be removed.
  ~CUnpacker();
  CUnpacker(const CUnpacker&) = delete;
  CUnpacker& operator=(const CUnpacker&) = delete;

  // Ends the command for what cannot be part of a database.
  void Add(CArchiveReader& archive);

  // Ends the command where the archive of this name had no database.  Gives
  // directories their modes and times and forces them to disk; those that will
  // be renamed stay writable for their owner.
  void Finish(const std::string& name);

  // Takes that back below the root that the database was renamed to.
  void Settle(const std::string& root, bool keepsKiv) const;

 private:
  // None for an entry that is not unpacked.
  std::optional<std::string> PathOf(const CArchiveEntry& entry);
  void MakeDirectory(const std::string& path, const CArchiveEntry& entry);
  void MakeParents(const std::string& path);
  void WriteFile(const std::string& path, CArchiveReader& archive) const;

  const CContext& m_context;
  std::string m_stage;
  std::set<std::string> m_names;
  std::map<std::string, CArchiveEntry> m_directories;
  bool m_hasNoted = false;
};

}  // namespace tool

#endif  // TOOLS_ARCHIVE_UNPACKING_H_
