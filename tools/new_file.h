// A file that has its name only when it is complete.

#ifndef TOOLS_NEW_FILE_H_
#define TOOLS_NEW_FILE_H_

#include <string>

#include "descriptor.h"

namespace tool {

// Made beside its place as PATH.tmp-XXXXXX, of mode 0600, and gone with the
// object or the signal that ends the process, unless it was put there.  One at
// a time.
class CNewFile {
 public:
  // Ends the command where there is something other than a regular file.
  explicit CNewFile(std::string path);
  ~CNewFile();
  CNewFile(const CNewFile&) = delete;
  CNewFile& operator=(const CNewFile&) = delete;

  // Open for reading and writing.
  int get() const { return m_file.get(); }

  // Forces the content to disk, and out of memory, so that reading it again
  // tells what the disk has.
  void Sync() const;

  // Renames it to its place, where it replaces a file.
  void Put();

 private:
  std::string m_path;
  std::string m_temporary;
  CDescriptor m_file;
  bool m_isPut = false;
};

}  // namespace tool

#endif  // TOOLS_NEW_FILE_H_
