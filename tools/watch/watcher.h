// Watching the tables of a database.

#ifndef TOOLS_WATCH_WATCHER_H_
#define TOOLS_WATCH_WATCHER_H_

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "context.h"
#include "store.h"
#include "watch/end_signals.h"
#include "watch/events.h"
#include "watch/listener.h"
#include "watch/table.h"

namespace tool {

class CWatcher : public CSink {
 public:
  // All tables unless some are named.
  CWatcher(const CContext& context, const std::vector<std::string>& tables,
           const CEndSignals& signals, CListener& listener);

  // Until a signal comes, nobody reads, or nothing is left to watch.
  void Run();

 private:
  // As a sink of the tables.
  void Take(const CSeen& seen) override;
  const CReport& report() const override { return m_context.report; }
  bool IsOver() const override;

  void Begin();
  std::vector<int> WatchParents();
  void TakeFront();
  void TakeLost();
  bool Rest();
  void Wait();

  // Sees what the table is now.
  void Look(const std::string& name);
  void TakeUp(const std::string& name);
  void TakeUp(CTableReader reader, int watch);
  void LookAtAway();
  void Remove(const std::string& name);
  void RequireDatabase();

  std::vector<CWatchedTable*> TablesOf(int watch) const;

  const CContext& m_context;
  const CStore m_store;
  const std::set<std::string> m_named;
  const CEndSignals& m_signals;
  CListener& m_listener;
  CEvents m_events;
  std::vector<int> m_watches;  // of the directories that hold the tables
  std::map<std::string, std::unique_ptr<CWatchedTable>> m_tables;
  std::set<std::string> m_away;  // those of them without their directory
  bool m_isReady = false;
  bool m_isDone = false;
};

}  // namespace tool

#endif  // TOOLS_WATCH_WATCHER_H_
