// Tables that come, change and go.

#include "watch/watcher.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "patient_lock.h"

namespace tool {
namespace {

constexpr std::uint32_t kItself = IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
// Writes are told apart by what is between them: the kernel tells two equal
// events as one.
constexpr std::uint32_t kEntries = kItself | IN_CREATE | IN_DELETE |
                                   IN_MOVED_FROM | IN_MOVED_TO |
                                   IN_CLOSE_WRITE | IN_MODIFY | IN_EXCL_UNLINK;

// Milliseconds between two looks at a table that may come back.
constexpr int kPause = 100;

}  // namespace

CWatcher::CWatcher(const CContext& context,
                   const std::vector<std::string>& tables,
                   const CEndSignals& signals, CListener& listener)
    : m_context(context),
      m_store(context.globals.root),
      m_named(tables.begin(), tables.end()),
      m_signals(signals),
      m_listener(listener) {}

void CWatcher::Run() {
  Begin();
  while (!IsOver()) {
    if (!m_events.IsEmpty()) {
      TakeFront();
    } else if (!Rest() && !IsOver()) {
      Wait();
    }
  }
  m_listener.End();
}

void CWatcher::Take(const CSeen& seen) {
  if (!m_isReady || IsOver()) return;
  m_listener.Take(seen);
  m_context.out.Flush();
}

bool CWatcher::IsOver() const {
  return m_isDone || m_context.out.IsBroken() || m_signals.HasCome();
}

// Before the tables are listed, so that none is missed.
void CWatcher::Begin() {
  m_watches = WatchParents();
  if (std::count(m_watches.begin(), m_watches.end(), -1) > 0) {
    EndTrouble("", WithError("cannot watch the database", errno));
  }
  if (m_named.empty()) {
    for (const std::string& name : m_store.Tables()) TakeUp(name);
  }
  for (const std::string& name : m_named) TakeUp(name);
  m_isReady = true;
  m_context.out.Flush();
  const std::size_t count = m_tables.size();
  m_context.report.Note("", "watching " + std::to_string(count) +
                                (count == 1 ? " table" : " tables"));
}

std::vector<int> CWatcher::WatchParents() {
  const std::string kiv = m_store.root() + "/kiv";
  return {m_events.Watch(kiv, kItself),
          m_events.Watch(kiv + "/schema", kEntries),
          m_events.Watch(kiv + "/database", kEntries)};
}

void CWatcher::TakeFront() {
  const CFileEvent event = m_events.Front();
  const auto tables = TablesOf(event.watch);
  if (!event.name.empty() && !tables.empty()) {
    for (CWatchedTable* table : tables) table->Take(m_events);
    m_events.Pop();
    return;
  }
  m_events.Pop();  // before others are dropped
  const bool isParents =
      std::count(m_watches.begin(), m_watches.end(), event.watch) > 0;
  if ((event.mask & IN_Q_OVERFLOW) != 0) {
    TakeLost();
  } else if (isParents && event.name.empty()) {
    RequireDatabase();
  } else if (isParents) {
    if ((event.mask & IN_MODIFY) == 0) Look(event.name);
  } else {
    for (CWatchedTable* table : tables) Look(std::string(table->name()));
  }
}

void CWatcher::TakeLost() {
  m_context.report.Note("", "events were lost, comparing all tables");
  m_events.Drop(-1);
  RequireDatabase();
  if (m_isDone) return;
  const auto names = m_store.Tables();
  std::set<std::string> all(names.begin(), names.end());
  for (const auto& [name, table] : m_tables) all.insert(name);
  for (const std::string& name : all) {
    Look(name);
    const auto found = m_tables.find(name);
    if (found == m_tables.end() || m_away.count(name) > 0) continue;
    found->second->Compare(m_events);
  }
}

// What is left to do when all events were taken.  Whether there are new ones.
bool CWatcher::Rest() {
  for (const auto& [name, table] : m_tables) {
    if (table->HasMade()) table->LookAtMade(m_events);
  }
  if (!m_away.empty()) LookAtAway();
  return !m_events.IsEmpty();
}

void CWatcher::Wait() {
  const int output = m_listener.Prints() ? STDOUT_FILENO : -1;
  pollfd files[] = {{m_signals.descriptor(), POLLIN, 0},
                    {m_events.descriptor(), POLLIN, 0},
                    {output, 0, 0}};
  poll(files, std::size(files), m_away.empty() ? -1 : kPause);
  // Nobody reads the pipe any more.
  if ((files[2].revents & POLLERR) != 0 && files[0].revents == 0) {
    m_context.report.Raise(Verdict::kTrouble);
    m_isDone = true;
  }
}

void CWatcher::Look(const std::string& name) {
  if (!m_named.empty() && m_named.count(name) == 0) return;
  struct stat status {};
  const bool isThere = stat(m_store.PathOf(name).c_str(), &status) == 0 &&
                       S_ISDIR(status.st_mode);
  m_away.erase(name);
  if (!isThere && m_tables.count(name) > 0) m_away.insert(name);
  // A table is there with both, and while it lasts without the schema.
  if (isThere && stat(m_store.SchemaPathOf(name).c_str(), &status) == 0) {
    TakeUp(name);
  }
}

void CWatcher::TakeUp(const std::string& name) {
  try {
    CTableReader reader(m_store, name);
    reader.Require();
    const int watch = m_events.Watch(m_store.PathOf(name), kEntries);
    if (watch < 0) EndTrouble(name, WithError("cannot watch", errno));
    TakeUp(std::move(reader), watch);
  } catch (const CEnd& end) {
    const bool isWanted = !m_isReady && !m_named.empty();
    if (isWanted || end.where() != name) throw;
    m_context.report.Tell(name, end.what());
  }
}

void CWatcher::TakeUp(CTableReader reader, int watch) {
  auto& table = m_tables[reader.name()];
  const int old = table ? table->watch() : -1;
  if (old == watch && table->IsOf(reader)) {
    table->Rename(std::move(reader));
    return;
  }
  if (table) {
    table->Exchange(std::move(reader), watch);
  } else {
    table = std::make_unique<CWatchedTable>(std::move(reader), watch, *this);
  }
  if (old >= 0 && TablesOf(old).empty()) m_events.Unwatch(old);
  table->Compare(m_events);
}

// Those whose schema is locked may be exchanged at this moment.
void CWatcher::LookAtAway() {
  const CDescriptor schemas =
      OpenQuietly(AT_FDCWD, m_store.root() + "/kiv/schema", O_DIRECTORY);
  const CPatientLock lock(schemas.get());
  m_events.Read();
  if (!lock.isHeld() || !m_events.IsEmpty()) return;
  for (const std::string& name : std::set<std::string>(m_away)) {
    Look(name);
    if (m_away.count(name) > 0) Remove(name);
  }
}

void CWatcher::Remove(const std::string& name) {
  const auto found = m_tables.find(name);
  found->second->RemoveAll();
  const int watch = found->second->watch();
  m_tables.erase(found);
  m_away.erase(name);
  if (TablesOf(watch).empty()) m_events.Unwatch(watch);
  m_context.report.Note(name, "the table is gone");
  if (m_named.empty() || !m_tables.empty()) return;
  m_context.report.Raise(Verdict::kNo);
  m_isDone = true;
}

void CWatcher::RequireDatabase() {
  if (WatchParents() == m_watches) return;
  while (!m_tables.empty()) Remove(std::string(m_tables.begin()->first));
  m_context.report.No("", "the database is gone");
  m_isDone = true;
}

std::vector<CWatchedTable*> CWatcher::TablesOf(int watch) const {
  std::vector<CWatchedTable*> tables;
  for (const auto& [name, table] : m_tables) {
    if (table->watch() == watch) tables.push_back(table.get());
  }
  return tables;
}

}  // namespace tool
