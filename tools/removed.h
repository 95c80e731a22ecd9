// Moving away what is in the way: nothing is erased.

#ifndef TOOLS_REMOVED_H_
#define TOOLS_REMOVED_H_

#include <kivdb/removed.h>

#include <string>

namespace tool {

// The folder of one run.
class CRemoved {
 public:
  explicit CRemoved(const std::string& root) : m_folder(root.c_str()) {}

  // Moves an entry, given by its path below kiv, such as
  // "database/hosts/7.tmp".  Gives the new path below the root; ends the
  // command when it cannot.
  std::string Move(const std::string& entry);

  KivDB::CRemoved& folder() { return m_folder; }

 private:
  KivDB::CRemoved m_folder;
};

}  // namespace tool

#endif  // TOOLS_REMOVED_H_
