// What the system tells of changes in directories.

#ifndef TOOLS_WATCH_EVENTS_H_
#define TOOLS_WATCH_EVENTS_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "descriptor.h"

namespace tool {

struct CFileEvent {
  int watch;
  std::uint32_t mask;
  std::uint32_t cookie;  // of the two events of a rename
  std::string name;      // empty for the directory itself
  bool isSettled = false;
};

// The events of all directories in their order.  A thread takes them from the
// kernel, which keeps only some thousands, while the command is busy.
class CEvents {
 public:
  CEvents();
  ~CEvents();
  CEvents(const CEvents&) = delete;
  CEvents& operator=(const CEvents&) = delete;

  // Gives the number of the directory's watch, the old one for one that is
  // watched, or -1 with errno set.
  int Watch(const std::string& path, std::uint32_t mask);
  void Unwatch(int watch);

  // Can be read when there are new events.
  int descriptor() const { return m_news.get(); }

  // Waits for new events, but no longer than that.
  void Wait(int milliseconds) const;

  // Takes all that the kernel has by now.
  void Read();

  // Takes what the thread has read, and tells whether there is none.
  bool IsEmpty();
  const CFileEvent& Front() const { return m_queue.front(); }
  void Pop() { m_queue.pop_front(); }

  // Notes that what belongs to the front event has been read.
  void SettleFront() { m_queue.front().isSettled = true; }

  // The first event behind the front one, in its directory, that meets the
  // condition; null where none does.
  const CFileEvent* Next(
      const std::function<bool(const CFileEvent& event)>& meets) const;

  // Drops the events of a watch, or those that tell of lost ones for -1, and
  // gives the names in them.
  std::set<std::string> Drop(int watch);

 private:
  void TakeRead();    // m_mutex is held
  void ReadKernel();  // m_mutex is held
  void Run();

  CDescriptor m_kernel;
  CDescriptor m_news;
  CDescriptor m_stop;
  std::deque<CFileEvent> m_queue;

  std::mutex m_mutex;
  std::vector<CFileEvent> m_read;  // not yet in the queue
  std::vector<char> m_buffer;
  int m_error = 0;

  std::thread m_thread;
};

}  // namespace tool

#endif  // TOOLS_WATCH_EVENTS_H_
