// Beginning with a directory, and going on with its events.

#include "watch/table.h"

#include <sys/stat.h>

#include <utility>

#include "patient_lock.h"

namespace tool {
namespace {

constexpr int kPatience = 100;  // milliseconds

}  // namespace

CWatchedTable::CWatchedTable(CTableReader reader, int watch, CSink& sink)
    : m_sink(sink),
      m_records(std::move(reader), sink),
      m_saves(m_records),
      m_watch(watch) {}

void CWatchedTable::Exchange(CTableReader reader, int watch) {
  m_records.Exchange(std::move(reader));
  m_watch = watch;
}

void CWatchedTable::Compare(CEvents& events) {
  m_saves.Clear();
  std::set<std::string> gone;
  for (std::string& id : m_records.Ids()) gone.insert(std::move(id));
  for (const std::string& id : m_records.reader().Ids()) {
    if (m_sink.IsOver()) return;
    gone.erase(id);
    m_records.Compare(id);
  }
  for (const std::string& id : gone) m_records.Compare(id);
  // What has changed meanwhile, most of it without the lock.  Under the lock no
  // save is at work, so that none is cut in two.
  for (const bool isLast : {false, true}) {
    const CPatientLock lock(m_records.reader().directory(), isLast);
    events.Read();
    for (const std::string& name : events.Drop(m_watch)) {
      if (name.empty() || KindOf(name) != EntryKind::kRecord) continue;
      m_records.Compare(name);
    }
  }
}

bool CWatchedTable::IsOf(const CTableReader& reader) const {
  struct stat own {};
  struct stat other {};
  return fstat(m_records.reader().directory(), &own) == 0 &&
         fstat(reader.directory(), &other) == 0 && own.st_dev == other.st_dev &&
         own.st_ino == other.st_ino;
}

void CWatchedTable::Take(CEvents& events) {
  if (m_saves.Take(events)) return;
  // A file of another name is likely to be renamed to a record soon, and the
  // save of a host that does not lock to go on.
  const std::string& name = events.Front().name;
  const bool isWaited =
      !IsCanonicalId(name) || m_records.reader().Has(name + ".tmp");
  for (int i = 0; isWaited && i < kPatience; ++i) {
    events.Wait(1);
    events.Read();
    if (m_saves.Take(events)) return;
  }
  {
    // A save at work ends before the lock is had, and its events are there.
    const CPatientLock lock(m_records.reader().directory());
    events.Read();
  }
  events.SettleFront();
  m_saves.Take(events);
}

void CWatchedTable::LookAtMade(CEvents& events) {
  if (m_saves.HasOddMade()) events.Wait(kPatience);
  const CPatientLock lock(m_records.reader().directory());
  events.Read();
  if (events.IsEmpty()) m_saves.LookAtMade();
}

void CWatchedTable::RemoveAll() {
  for (const std::string& id : m_records.Ids()) m_records.Removed(id);
}

}  // namespace tool
