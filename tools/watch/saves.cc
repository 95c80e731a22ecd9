// Looking at events together.

#include "watch/saves.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <utility>

namespace tool {
namespace {

constexpr int kPatience = 5;  // milliseconds

bool Is(const CFileEvent& event, std::uint32_t mask) {
  return (event.mask & mask) != 0;
}

bool IsRecord(const CFileEvent& event) {
  return !Is(event, IN_ISDIR) && KindOf(event.name) == EntryKind::kRecord;
}

// What the next event of the directory makes of an entry.
struct CSequel {
  bool isThere = false;  // it is known
  std::string name;      // that it was renamed to, if it was
};

// Writing another record in place needs no lock, and may come between.
CSequel SequelOf(const CEvents& events, const std::string& entry) {
  const CFileEvent* next = events.Next([&](const CFileEvent& event) {
    const bool isInPlace =
        Is(event, IN_CLOSE_WRITE | IN_MODIFY) && IsRecord(event);
    return !isInPlace || event.name == events.Front().name;
  });
  if (next == nullptr) return {events.Front().isSettled, ""};
  if (!Is(*next, IN_MOVED_FROM) || next->name != entry) return {true, ""};
  const CFileEvent* target = events.Next([&](const CFileEvent& event) {
    return Is(event, IN_MOVED_TO) && event.cookie == next->cookie;
  });
  if (target == nullptr) return {events.Front().isSettled, ""};
  return {true, target->name};
}

// Whether more was done to the front event's entry.  A file that is written
// again is empty some time before that is told.
bool IsWrittenAgain(CEvents& events) {
  for (int i = 0; i < kPatience; ++i) {
    events.Read();
    const CFileEvent* next = events.Next([&](const CFileEvent& event) {
      return event.name == events.Front().name;
    });
    if (next != nullptr) return true;
    events.Wait(1);
  }
  return false;
}

}  // namespace

bool CSaves::Take(CEvents& events) {
  const CFileEvent& event = events.Front();
  if (!IsRecord(event)) return true;
  if (Is(event, IN_DELETE)) return TakeDeleted(events);
  if (Is(event, IN_CLOSE_WRITE)) return TakeClosed(events);
  if (Is(event, IN_CREATE)) TakeMade(events);
  if (Is(event, IN_MOVED_FROM)) TakeRenamedAway(event.name);
  if (Is(event, IN_MOVED_TO)) Save(events);
  return true;
}

bool CSaves::TakeDeleted(const CEvents& events) {
  const std::string& id = events.Front().name;
  const CSequel sequel = SequelOf(events, id + ".tmp");
  if (m_records.IsKnown(id) && !sequel.isThere) return false;
  // A save goes on with its temporary file, which then tells it.
  if (sequel.name != id) TakeRenamedAway(id);
  return true;
}

bool CSaves::TakeClosed(CEvents& events) {
  const std::string& id = events.Front().name;
  if (m_unclosed.erase(id) > 0 && m_records.IsAsKnown(id)) return true;
  if (!m_records.IsKnown(id)) {
    const CSequel sequel = SequelOf(events, id);
    if (!sequel.isThere) return false;
    // It was made to be renamed to a record, which then tells the save.
    if (!sequel.name.empty() && KindOf(sequel.name) == EntryKind::kRecord) {
      m_made.erase(id);
      return true;
    }
  }
  Save(events);
  return true;
}

void CSaves::TakeMade(CEvents& events) {
  const std::string& id = events.Front().name;
  struct stat status {};
  const bool isThere = fstatat(m_records.reader().directory(), id.c_str(),
                               &status, AT_SYMLINK_NOFOLLOW) == 0;
  const bool isLink = S_ISLNK(status.st_mode) ||
                      (S_ISREG(status.st_mode) && status.st_nlink > 1);
  if (isThere && isLink && m_records.reader().TypeOf(id) == EntryType::kFile) {
    Save(events);
  } else {
    m_made.insert(id);
  }
}

void CSaves::TakeRenamedAway(const std::string& id) {
  m_made.erase(id);
  m_unclosed.erase(id);
  if (m_records.IsKnown(id)) m_records.Removed(id);
}

void CSaves::Save(CEvents& events) {
  const std::string& id = events.Front().name;
  m_made.erase(id);
  m_unclosed.erase(id);
  m_records.Saved(id, [&] { return IsWrittenAgain(events); });
}

bool CSaves::HasOddMade() const {
  return !std::all_of(m_made.begin(), m_made.end(),
                      [](const std::string& id) { return IsCanonicalId(id); });
}

void CSaves::LookAtMade() {
  for (const std::string& id : std::exchange(m_made, {})) {
    if (m_records.IsKnown(id) || !m_records.IsReadable(id)) continue;
    m_records.Saved(id, [] { return false; });
    m_unclosed.insert(id);
  }
}

void CSaves::Clear() {
  m_made.clear();
  m_unclosed.clear();
}

}  // namespace tool
