// Locks over several operations: read, decide and write in one go.

#ifndef KIVDB_LOCK_H_
#define KIVDB_LOCK_H_

#include <kivdb/export.h>

namespace KivDB {

class CFileLock;
class CTable;

// Keeps every other thread and every other process from changing one table
// while it lives; operations of the thread that made it go on.
//
//   CTableLock lock(leases);
//   if (lock.isHeld() && leases.readRecord("7") == kOk && IsMine(leases)) {
//     leases.updateRecord("7", "until=1700");
//   }
//
// It is an advisory lock on the table directory, which everything that changes
// records through this library takes, and a mutex of the table is not held.  It
// does not keep anybody from reading, nor an editor from writing.  Keep it
// short: others wait for it at most LockWait() milliseconds.
//
// Take locks in one order: the schema, then tables by name.  A lock belongs to
// the thread that made it and ends there, also when that is cancelled.
class KIVDB_EXPORT CTableLock {
 public:
  // Waits at most LockWait() milliseconds.  Throws std::bad_alloc.
  explicit CTableLock(const CTable& table);
  CTableLock(const char* root, const char* table);
  CTableLock(const CTableLock&) = delete;
  CTableLock& operator=(const CTableLock&) = delete;
  ~CTableLock();

  // False (logged) when the lock was not had in time, or cannot be had: there
  // is no such directory, no right to read it, or no lock on its file system.
  bool isHeld() const;

 private:
  CFileLock* m_lock;  // owned; null when it is not held
};

// The same for the set of tables of a root: adding and dropping them.
class KIVDB_EXPORT CSchemaLock {
 public:
  explicit CSchemaLock(const char* root);
  CSchemaLock(const CSchemaLock&) = delete;
  CSchemaLock& operator=(const CSchemaLock&) = delete;
  ~CSchemaLock();

  bool isHeld() const;

 private:
  CFileLock* m_lock;
};

// How long a change of this process waits for those of others before it gives
// kInvalid (logged): 15000 milliseconds unless set.  From any thread.
KIVDB_EXPORT void SetLockWait(unsigned int milliseconds);
KIVDB_EXPORT unsigned int LockWait();

}  // namespace KivDB

#endif  // KIVDB_LOCK_H_
