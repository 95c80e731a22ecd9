// Values of ini files, and the file that was parsed last.

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "base/cancellation.h"
#include "base/descriptor.h"
#include "ini_file.h"
#include "zel.h"

namespace {

using CSharedFile = std::shared_ptr<const CIniFile>;

bool SameTime(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool SameState(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino &&
         a.st_size == b.st_size && SameTime(a.st_mtim, b.st_mtim) &&
         SameTime(a.st_ctim, b.st_ctim);
}

// Whether a change of the file from now on gets another stamp than it has.
// Files are stamped with the coarse clock; some file systems count in steps of
// 10 ms, or of two seconds.  The change time counts: nobody sets it.
bool IsSettled(const struct stat& state, const timespec& now) {
  constexpr long long kSecond = 1'000'000'000;
  const timespec& stamp = state.st_ctim;
  const long long seconds = now.tv_sec - stamp.tv_sec;
  if (seconds < 0) return false;
  if (seconds > 2) return true;
  const long long age = seconds * kSecond + now.tv_nsec - stamp.tv_nsec;
  return age >= (stamp.tv_nsec == 0 ? 2 * kSecond : kSecond / 100);
}

// The file that was parsed last.  All of its calls may come from any thread.
class CLastFile {
 public:
  // The parsed file when path and state are those that it was kept with.
  CSharedFile Get(const char* path, const struct stat& state) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const bool hit =
        m_file != nullptr && m_path == path && SameState(m_state, state);
    return hit ? m_file : nullptr;
  }

  void Keep(const char* path, const struct stat& state, CSharedFile file) {
    std::string copy = path;
    {
      const std::lock_guard<std::mutex> lock(m_mutex);
      m_path.swap(copy);
      m_file.swap(file);
      m_state = state;
    }
    // The former file, by now in file, goes without the lock.
  }

 private:
  std::mutex m_mutex;
  std::string m_path;
  struct stat m_state {};
  CSharedFile m_file;
};

CLastFile last_file;

// The parsed file at path, or null with errno set.
CSharedFile Parsed(const char* path) {
  struct stat before {};
  if (stat(path, &before) == 0) {
    CSharedFile known = last_file.Get(path, before);
    if (known != nullptr) return known;
  }
  // O_NONBLOCK: a FIFO must not hold up its opening.
  const KivDB::CDescriptor file(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!file.IsOpen()) return nullptr;
  timespec now{};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  if (fstat(file.Get(), &before) != 0) return nullptr;
  if (!S_ISREG(before.st_mode)) {
    errno = S_ISDIR(before.st_mode) ? EISDIR : EINVAL;
    return nullptr;
  }
  const auto parsed = std::make_shared<CIniFile>();
  if (!parsed->Load(file.Get(), static_cast<size_t>(before.st_size))) {
    return nullptr;
  }
  struct stat after {};
  if (IsSettled(before, now) && fstat(file.Get(), &after) == 0 &&
      SameState(before, after)) {
    last_file.Keep(path, before, parsed);
  }
  return parsed;
}

// Copies what fits of the text and returns its whole length.
int Deliver(std::string_view text, char* out, size_t size) {
  if (size > 0) {
    const size_t length = std::min(text.size(), size - 1);
    memmove(out, text.data(), length);
    out[length] = '\0';
  }
  return static_cast<int>(std::min<size_t>(text.size(), INT_MAX));
}

int DeliverSections(const CIniFile& file, char* out, size_t size) {
  size_t used = 0;
  size_t total = 0;
  for (const std::string_view name : file.Sections()) {
    // The first name that does not fit, with the list's end, ends the list.
    if (used == total && used + name.size() + 2 <= size) {
      memcpy(out + used, name.data(), name.size());
      used += name.size();
      out[used++] = '\0';
    }
    total += name.size() + 1;
  }
  if (size > 0) out[used] = '\0';
  return total == 0 ? 0 : static_cast<int>(total + 1);
}

}  // namespace

int InifileGetValueA(const char* section, const char* key, char* out,
                     unsigned int size, const char* fallback,
                     const char* inifile) {
  // Neither the lock nor the descriptor nor the memory may be lost with a
  // cancelled thread.
  const KivDB::CCancellationHold hold;
  const size_t room = out == nullptr ? 0 : size;
  CSharedFile file;
  try {
    if (inifile != nullptr) file = Parsed(inifile);
  } catch (const std::exception&) {
    errno = ENOMEM;
  }
  if (file == nullptr) {
    Deliver("", out, room);
    return -1;
  }
  if (section == nullptr && key == nullptr) {
    return DeliverSections(*file, out, room);
  }
  if (section != nullptr && key != nullptr) {
    const std::string_view* value = file->Find(section, key);
    if (value != nullptr) return Deliver(*value, out, room);
  }
  return Deliver(fallback == nullptr ? "" : fallback, out, room);
}
