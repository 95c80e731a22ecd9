// Moving entries of a database out of the way: nothing is erased.

#ifndef KIVDB_REMOVED_H_
#define KIVDB_REMOVED_H_

#include <kivdb/export.h>

#include <string>

namespace KivDB {

// The folder kiv/removed/TIME of one run, such as 20261123T063500Z, made with
// the first entry that is moved there.  Opening a database ignores it, dropping
// the database erases it.
//
// Used by one thread at a time, which holds the lock of the directory that it
// moves from: see lock.h.
class KIVDB_EXPORT CRemoved {
 public:
  // Makes nothing yet.  Throws std::bad_alloc.
  explicit CRemoved(const char* root);

  // Moves an entry, given by its path below kiv such as "database/hosts/7.tmp",
  // to that path below the folder: renamed, never over anything, never copied.
  // All of it is on disk when the operation returns kOk, and moved is the new
  // path below the root.  kInvalid (logged): a directory cannot be made, or the
  // entry not be moved; kNoMemory (logged).
  int Move(const char* entry, std::string& moved);

 private:
  KIVDB_LOCAL int MoveEntry(const std::string& entry, std::string& moved);
  KIVDB_LOCAL int MakeFolder();

  std::string m_kiv;
  std::string m_folder;  // below kiv; empty until it is made
};

}  // namespace KivDB

#endif  // KIVDB_REMOVED_H_
