// Changing a table beside a running host.

#ifndef TOOLS_CHANGE_H_
#define TOOLS_CHANGE_H_

#include <kivdb/lock.h>
#include <kivdb/status.h>
#include <kivdb/table.h>

#include <string>
#include <vector>

#include "arguments.h"
#include "context.h"
#include "report.h"
#include "store.h"

namespace tool {

// Makes root's process that of the owner of the database, as otherwise the host
// could not read what it writes.  Files that the owner may not open are opened
// before.  Where there is no database yet, the owner is that of the root.
void BecomeOwner(const std::string& root);

// How long the run waits for changes of others.
void SetWait(const CGlobals& globals);

// Ends the command unless the lock is held.
template <typename Lock>
void RequireHeld(const Lock& lock, const std::string& where) {
  if (lock.isHeld()) return;
  EndTrouble(where, "cannot lock: " + ReasonOf(KivDB::kInvalid));
}

// One record to write.
struct CRecordWrite {
  std::string id;
  std::vector<std::string> whole;    // all values behind the id, or
  std::vector<CAssignment> changed;  // where there are none, these
  bool isNew = false;                // it replaces nothing
};

// One table, locked from construction to the end.
class CChange {
 public:
  // Becomes the owner.  Ends the command where there is no such table, no table
  // directory, or no lock in time.
  CChange(const CContext& context, const CStore& store,
          const std::string& table);

  const CTableReader& reader() const { return m_reader; }

  // Whether only the temporary file of the record is there: it may be all that
  // is left of it, and a save would write over it.
  bool IsInterrupted(const std::string& id) const;

  // Ends the command then.
  void RefuseInterrupted(const std::string& id) const;

  // The highest number that a name in the table begins with: new ids are above
  // it.  4294967295 where there is none above, or where that cannot be told.
  unsigned int HighestId() { return m_table.get_max_id(); }

  // Ends the command for columns that the library cannot change by name.
  void RequireUpdatable(const std::string& id,
                        const std::vector<CAssignment>& values) const;

  // Each ends the command when it fails, and is done or not begun when a signal
  // ends the process.  values are those of all columns behind the id, plain.
  void Write(const CRecordWrite& write);
  void Update(const std::string& id, const std::vector<CAssignment>& values);
  void Delete(const std::string& id);
  void Clear();

 private:
  void Save(const std::string& id, const std::vector<std::string>& values);
  void Require(int status, const std::string& id) const;

  CTableReader m_reader;
  KivDB::CTable m_table;
  KivDB::CTableLock m_lock;
};

}  // namespace tool

#endif  // TOOLS_CHANGE_H_
