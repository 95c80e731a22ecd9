// A table that is watched.

#ifndef TOOLS_WATCH_TABLE_H_
#define TOOLS_WATCH_TABLE_H_

#include <string>
#include <utility>

#include "store.h"
#include "watch/events.h"
#include "watch/records.h"
#include "watch/saves.h"

namespace tool {

class CWatchedTable {
 public:
  // The directory must be there; watch is the number of its events.
  CWatchedTable(CTableReader reader, int watch, CSink& sink);

  const std::string& name() const { return m_records.reader().name(); }
  int watch() const { return m_watch; }

  // Whether the reader is of the same directory.
  bool IsOf(const CTableReader& reader) const;

  // The same directory with other names and types of columns.
  void Rename(CTableReader reader) { m_records.Rename(std::move(reader)); }

  // Another directory: its records are yet to be compared.
  void Exchange(CTableReader reader, int watch);

  // Compares all records with what is known of them, and drops the events up to
  // then.
  void Compare(CEvents& events);

  // Takes the front event, which is one of this directory.
  void Take(CEvents& events);

  // What can only be told when all events were taken.
  bool HasMade() const { return m_saves.HasMade(); }
  void LookAtMade(CEvents& events);

  // Tells that all records were removed.
  void RemoveAll();

 private:
  CSink& m_sink;
  CRecords m_records;
  CSaves m_saves;
  int m_watch;
};

}  // namespace tool

#endif  // TOOLS_WATCH_TABLE_H_
