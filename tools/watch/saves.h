// Which changes of records the events of a table directory are.

#ifndef TOOLS_WATCH_SAVES_H_
#define TOOLS_WATCH_SAVES_H_

#include <optional>
#include <set>
#include <string>

#include "watch/events.h"
#include "watch/records.h"

namespace tool {

// A save is several events: the library removes the record and renames its
// temporary file, an editor writes in place, or a file of another name that it
// renames.  Each is told once, in the order of the events.
class CSaves {
 public:
  explicit CSaves(CRecords& records) : m_records(records) {}

  // Takes the front event.  False, with nothing done, when only what follows
  // it tells what it is, and that is not there.
  bool Take(CEvents& events);

  // Entries that were made, but not closed yet.
  bool HasMade() const { return !m_made.empty(); }
  bool HasOddMade() const;  // whose name is no number

  // Takes those of them that are records by now: a link is never closed.
  void LookAtMade();

  // Knows nothing of what was before.
  void Clear();

 private:
  bool TakeDeleted(const CEvents& events);
  bool TakeClosed(CEvents& events);
  void TakeMade(CEvents& events);
  void TakeRenamedAway(const std::string& id);
  void Save(CEvents& events);

  CRecords& m_records;
  std::set<std::string> m_made;
  std::set<std::string> m_unclosed;  // told already
};

}  // namespace tool

#endif  // TOOLS_WATCH_SAVES_H_
