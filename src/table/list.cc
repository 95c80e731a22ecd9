// Listing, lookups by id, and walks that only look at names.

#include <fcntl.h>
#include <kivdb/status.h>
#include <kivdb/table.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <limits>

#include "base/lock.h"
#include "core/locked.h"
#include "core/log.h"
#include "core/no_throw.h"
#include "core/null_text.h"
#include "core/path.h"
#include "core/record_id.h"
#include "core/walk.h"
#include "table/condition.h"
#include "table/entry.h"
#include "table/source.h"
#include "table/stored_fields.h"
#include "zel.h"

namespace KivDB {
namespace {

// The condition of a lookup by id, with its NUL.
constexpr std::size_t kLookupSize = 255;

}  // namespace

bool CTable::OpenCursor() {
  m_cursorIsOwn = m_dirIterator.OpenStream(m_tablePath) == 0;
  return m_cursorIsOwn;
}

int CTable::ListRecordsStart(const char* condition) {
  if (zel_access(m_tablePath, F_OK) != 0 || !OpenCursor()) return kNotFound;
  return Step(condition, true);
}

int CTable::ListRecordsNext(const char* condition) {
  return Step(condition, false);
}

int CTable::Step(const char* condition, bool isFirst) {
  if (!RequireMutex()) return kInvalid;
  if (condition == nullptr) return StepTo(nullptr, isFirst);
  return NoThrow([&] {
    const CCondition parsed(condition);
    return StepTo(&parsed, isFirst);
  });
}

int CTable::StepTo(const CCondition* condition, bool isFirst) {
  if (!isFirst) {
    return WithLock(m_mutex, [&] { return ScanForMatch(condition, nullptr); });
  }
  return WithNames(
      m_mutex, m_dirIterator.Descriptor(),
      [&](CSharedLock& names) { return ScanForMatch(condition, &names); });
}

// Reads on to the next record that meets the condition.  names is held for the
// first read of the directory only, which takes many names at once.  The mutex
// is held.
int CTable::ScanForMatch(const CCondition* condition, CSharedLock* names) {
  CStoredFields fields;
  const Source source = m_cursorIsOwn ? Source::kCursor : Source::kPath;
  const WalkResult walk = WalkEntries(m_dirIterator, [&](const char* name) {
    if (names != nullptr) names->Release();
    char saved[NAME_MAX + 1];
    const bool isPlain = std::strchr(name, '.') == nullptr;  // as most names
    const char* id = isPlain ? name : RecordOf(name, saved, sizeof(saved));
    const bool found = id != nullptr && LoadRecord(id, source, fields) == kOk &&
                       (condition == nullptr || condition->Matches(m_columns));
    return !found;
  });
  if (walk == WalkResult::kStopped) return kOk;
  return walk == WalkResult::kEnd ? kNoRecord : kNotFound;
}

// Whether the entry is the temporary file of a save that is not done, and not
// what an earlier one left.
bool CTable::IsSaveAtWork(const char* name) const {
  if (!IsTemporary(name)) return false;
  CSharedLock lock;
  return lock.Try(m_dirIterator.Descriptor()) == LockResult::kBusy ||
         faccessat(m_dirIterator.Descriptor(), name, F_OK,
                   AT_SYMLINK_NOFOLLOW) != 0;
}

// The id of the record that the entry stands for, or null: for a marker, with
// its line, and for the temporary file of a save at work.  Where the record of
// the latter is not there, it may have gone before its name could be read: the
// id, in saved, is its own.
const char* CTable::RecordOf(const char* name, char* saved,
                             std::size_t size) const {
  if (LogIfMarker(name)) return nullptr;
  if (!IsSaveAtWork(name)) return name;
  zelstrncpy(saved, name, size,
             std::strlen(name) - std::strlen(kTemporarySuffix));
  const int directory = m_dirIterator.Descriptor();
  const bool isThere =
      faccessat(directory, saved, F_OK, AT_SYMLINK_NOFOLLOW) == 0;
  return isThere ? nullptr : saved;
}

int CTable::ListRecordsStart(std::vector<CColumn*>& columns,
                             const char* condition) {
  const int status = ListRecordsStart(condition);
  return status == kOk ? HandOut(columns) : status;
}

int CTable::ListRecordsNext(std::vector<CColumn*>& columns,
                            const char* condition) {
  const int status = ListRecordsNext(condition);
  return status == kOk ? HandOut(columns) : status;
}

int CTable::HandOut(std::vector<CColumn*>& columns) const {
  return NoThrow([&]() -> int {
    columns = m_columns;
    return kOk;
  });
}

bool CTable::MatchColumn(const char* condition) {
  if (condition == nullptr) {
    KIVDB_INFO(-1, "no condition");
    return false;
  }
  return NoThrow<bool>([&] { return CCondition(condition).Matches(m_columns); },
                       [] {
                         KIVDB_ERROR(-1, "no memory");
                         return false;
                       });
}

int CTable::FindRecord(const char* id) {
  if (id == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  char condition[kLookupSize] = "id=";
  zelstrcpy(condition + 3, id, sizeof(condition) - 3);
  return ListRecordsStart(condition);
}

int CTable::GetRecord(const char* id, std::vector<CColumn*>& columns) {
  const int status = FindRecord(id);
  return status == kOk ? HandOut(columns) : status;
}

int CTable::GetValStr(const char* id, const char* key, char* buf,
                      unsigned int size) {
  const int status = FindRecord(id);
  return status == kOk ? GetValStr(key, buf, size) : status;
}

int CTable::GetValInt(const char* id, const char* key, int& out) {
  const int status = FindRecord(id);
  return status == kOk ? GetValInt(key, out) : status;
}

int CTable::GetValBigInt(const char* id, const char* key, long& out) {
  const int status = FindRecord(id);
  return status == kOk ? GetValBigInt(key, out) : status;
}

int CTable::records() {
  if (!RequireMutex() || !OpenCursor()) return -1;
  const int directory = m_dirIterator.Descriptor();
  return WithNames(m_mutex, directory, [this](const CSharedLock& names) {
    int count = 0;
    const WalkResult walk = WalkEntries(m_dirIterator, [&](const char* name) {
      const bool counts =
          !LogIfMarker(name) && (names.IsHeld() || !IsSaveAtWork(name));
      if (counts) ++count;
      return true;
    });
    return walk == WalkResult::kEnd ? count : -1;
  });
}

unsigned int CTable::get_max_id() {
  unsigned int highest = 0;
  return FindHighestId(highest) ? highest
                                : std::numeric_limits<unsigned int>::max();
}

// False when the table directory cannot be read to its end.
bool CTable::FindHighestId(unsigned int& highest) {
  if (!OpenCursor()) return false;
  highest = 0;
  const WalkResult walk = WalkEntries(m_dirIterator, [&](const char* name) {
    if (!LogIfMarker(name)) highest = std::max(highest, LeadingId(name));
    return true;
  });
  return walk == WalkResult::kEnd;
}

bool CTable::is_ignorable_file(const char* name, bool flag) {
  name = TextOrEmpty(name);
  return IsDots(name) || (!flag && LogIfMarker(name));
}

bool CTable::IsDir(const dirent* entry, const char* path) {
  if (!RequireMutex() || entry == nullptr || path == nullptr) return false;
  const CPath full(path, entry->d_name);
  return WithLock(m_mutex, [&] {
    struct stat status;
    return stat(full.text(), &status) == 0 && S_ISDIR(status.st_mode);
  });
}

}  // namespace KivDB
