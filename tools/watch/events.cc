// Reading events in a thread of their own.

#include "watch/events.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <new>

#include "report.h"
#include "store.h"

namespace tool {
namespace {

constexpr std::size_t kBuffer = std::size_t{64} * 1024;

CDescriptor MakeEvent() {
  return CDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
}

void Raise(const CDescriptor& event) {
  // It fails only when it is raised high already.
  [[maybe_unused]] const int result = eventfd_write(event.get(), 1);
}

}  // namespace

CEvents::CEvents()
    : m_kernel(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      m_news(MakeEvent()),
      m_stop(MakeEvent()),
      m_buffer(kBuffer) {
  if (!m_kernel.isOpen() && errno == EMFILE) {
    EndTrouble("",
               "cannot watch: too many watch already, the limit is "
               "fs.inotify.max_user_instances");
  }
  if (!m_kernel.isOpen() || !m_news.isOpen() || !m_stop.isOpen()) {
    EndTrouble("", WithError("cannot watch", errno));
  }
  m_thread = std::thread([this] { Run(); });
}

CEvents::~CEvents() {
  Raise(m_stop);
  m_thread.join();
}

int CEvents::Watch(const std::string& path, std::uint32_t mask) {
  const int watch = inotify_add_watch(m_kernel.get(), path.c_str(), mask);
  if (watch < 0 && errno == ENOSPC) {
    EndTrouble("",
               "cannot watch: too many directories are watched already, the "
               "limit is fs.inotify.max_user_watches");
  }
  return watch;
}

void CEvents::Unwatch(int watch) { inotify_rm_watch(m_kernel.get(), watch); }

void CEvents::Wait(int milliseconds) const {
  pollfd file{descriptor(), POLLIN, 0};
  poll(&file, 1, milliseconds);
}

void CEvents::Read() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  ReadKernel();
  TakeRead();
}

bool CEvents::IsEmpty() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  TakeRead();
  return m_queue.empty();
}

const CFileEvent* CEvents::Next(
    const std::function<bool(const CFileEvent& event)>& meets) const {
  const auto found = std::find_if(
      m_queue.begin() + 1, m_queue.end(), [&](const CFileEvent& event) {
        return event.watch == Front().watch && meets(event);
      });
  return found != m_queue.end() ? &*found : nullptr;
}

std::set<std::string> CEvents::Drop(int watch) {
  std::set<std::string> names;
  const auto isDropped = [&](const CFileEvent& event) {
    if (event.watch == watch) names.insert(event.name);
    return event.watch == watch;
  };
  m_queue.erase(std::remove_if(m_queue.begin(), m_queue.end(), isDropped),
                m_queue.end());
  return names;
}

void CEvents::TakeRead() {
  if (m_error != 0) EndTrouble("", WithError("cannot watch", m_error));
  std::move(m_read.begin(), m_read.end(), std::back_inserter(m_queue));
  m_read.clear();
  eventfd_t count = 0;
  eventfd_read(m_news.get(), &count);
}

void CEvents::ReadKernel() {
  for (;;) {
    const ssize_t length =
        read(m_kernel.get(), m_buffer.data(), m_buffer.size());
    if (length < 0 && errno == EINTR) continue;
    if (length < 0 && errno != EAGAIN) m_error = errno;
    if (length <= 0) return;
    const char* event = m_buffer.data();
    while (event < m_buffer.data() + length) {
      inotify_event head;
      std::memcpy(&head, event, sizeof(head));
      const std::string name = head.len > 0 ? event + sizeof(head) : "";
      event += sizeof(head) + head.len;
      const bool isWrite = (head.mask & IN_MODIFY) != 0;
      if (isWrite && KindOf(name) != EntryKind::kRecord) continue;
      m_read.push_back({head.wd, head.mask, head.cookie, name});
    }
  }
}

void CEvents::Run() {
  pollfd files[] = {{m_kernel.get(), POLLIN, 0}, {m_stop.get(), POLLIN, 0}};
  for (;;) {
    const int count = poll(files, std::size(files), -1);
    const int error = count < 0 ? errno : 0;
    if (error == EINTR) continue;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (error != 0) m_error = error;
    try {
      if (error == 0) ReadKernel();
    } catch (const std::bad_alloc&) {
      m_error = ENOMEM;
    }
    if (m_error != 0 || !m_read.empty()) Raise(m_news);
    if (m_error != 0 || files[1].revents != 0) return;
  }
}

}  // namespace tool
