// Moving away what is in the way: nothing is erased.

#ifndef TOOLS_REMOVED_H_
#define TOOLS_REMOVED_H_

#include <string>

namespace tool {

// The folder kiv/removed/TIME of one run, made with the first entry that is
// moved there.  Everything is on disk when Move returns.
class CRemoved {
 public:
  explicit CRemoved(const std::string& root) : m_kiv(root + "/kiv") {}

  // Moves an entry, given by its path below kiv, such as
  // "database/hosts/7.tmp", to that path below the folder.  Never replaces,
  // never copies.  Gives the new path below the root; ends the command when it
  // cannot.
  std::string Move(const std::string& entry);

 private:
  void MakeFolder();
  void MakeDirectory(const std::string& path) const;

  std::string m_kiv;
  std::string m_folder;  // below kiv; empty until it is made
};

}  // namespace tool

#endif  // TOOLS_REMOVED_H_
