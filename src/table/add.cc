// Adding records, and the safe save that every record is written with.

#include <fcntl.h>
#include <kivdb/status.h>
#include <kivdb/table.h>
#include <kivdb/utils.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>

#include "base/descriptor.h"
#include "core/format.h"
#include "core/locked.h"
#include "core/log.h"
#include "core/no_throw.h"
#include "core/path.h"
#include "core/record_id.h"
#include "core/text_buffer.h"
#include "table/content.h"
#include "zel.h"

namespace KivDB {
namespace {

// A link or a FIFO under the temporary name must fail the save at once.
constexpr int kTemporaryFlags =
    O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK;

struct Fields {
  std::size_t count = 0;
  unsigned int id = 0;  // the first field, where it is one
  CTextBuffer content;  // the others, each with its separator
};

// Throws std::bad_alloc.
void ParseFields(const char* text, bool firstIsId, Fields& fields) {
  CTextBuffer copy;
  copy.Append(text);
  char* rest = copy.data();
  while (char* field = StringGetNextA(&rest, ',')) {
    CUtils::trim(field);
    char value[kValueSize];
    zelstrcpy(value, field, sizeof(value));
    if (firstIsId && fields.count == 0) {
      fields.id = LeadingId(value);
    } else {
      AppendValue(value, fields.content);
    }
    ++fields.count;
  }
}

int SaveError() {
  return KIVDB_FAIL(kInvalid, "Error occur when saving record!");
}

// False with errno set for what is not open or not a regular file: a FIFO with
// a reader fails as one without does.
bool IsRecordFile(const CDescriptor& file) {
  struct stat status;
  if (!file.IsOpen() || fstat(file.Get(), &status) != 0) return false;
  if (S_ISREG(status.st_mode)) return true;
  errno = ENXIO;
  return false;
}

// Writes the temporary file whole and forces it to disk.
int WriteTemporary(const char* path, const char* content, std::size_t length) {
  CDescriptor file(path, kTemporaryFlags, kRecordMode);
  if (!IsRecordFile(file)) {
    KIVDB_ERROR(kRecordUnreadable, "%s: failed to create record file %s (%s)",
                "safe_save", path, strerror(errno));
    return -1;
  }
  if (safe_write(file.Get(), content, length) != static_cast<ssize_t>(length)) {
    KIVDB_ERROR(kInvalid, "%s: safe_write to file %s failed (%s)", "safe_save",
                path, strerror(errno));
    return -1;
  }
  // Never tried again: a second sync proves nothing about the first's data.
  if (safe_fsync(file.Get()) == -1) {
    KIVDB_ERROR(kInvalid, "%s: error during safe_fsync of %s (%s)", "safe_save",
                path, strerror(errno));
    return -1;
  }
  return 0;
}

}  // namespace

int CTable::addRecord(const char* text, int* id, unsigned int maxId) {
  if (text == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  if (!RequireMutex()) return kInvalid;
  return NoThrow([&]() -> int {
    Fields fields;
    ParseFields(text, id == nullptr, fields);
    if (id != nullptr) ++fields.count;  // the allocated one
    if (fields.count == 0 || fields.count != m_columns.size() ||
        !IsOneLine(fields.content)) {
      return RefuseContent();
    }
    // Built anew: a table that was not opened has no paths yet.
    const CPath table = TablePath(m_dbPath.c_str(), m_name.c_str());
    return Change(m_mutex, table.text(), [&]() -> int {
      int number = static_cast<int>(fields.id);
      if (id != nullptr) {
        const int status = AllocateId(maxId, number);
        if (status != kOk) return status;
        *id = number;
      }
      return SaveNumbered(table.text(), number, fields.content);
    });
  });
}

// Gives the id after the highest in the table, which is locked.
int CTable::AllocateId(unsigned int maxId, int& id) {
  unsigned int highest = 0;
  // Without all names there is no free id: 1 would replace a record.
  if (!FindHighestId(highest)) return SaveError();
  const unsigned int next = highest + 1;
  if (maxId != 0 && next > maxId) {
    return KIVDB_FAIL(kIdAboveMaximum,
                      "The new record's id(%u) is greater than specified max "
                      "id(%u).",
                      next, maxId);
  }
  id = static_cast<int>(next);
  return kOk;
}

int CTable::SaveNumbered(const char* directory, int id,
                         const CTextBuffer& content) {
  char number[12];
  std::snprintf(number, sizeof(number), "%i", id);
  const CRecordPath path(directory, number);
  return path.IsRecord() ? SaveRecord(path.text(), content) : SaveError();
}

int CTable::SaveRecord(const char* path, const CTextBuffer& content) {
  const bool fits = std::strlen(path) <= kRecordPathMax &&
                    content.size() <= std::numeric_limits<int>::max();
  const int length = static_cast<int>(content.size());
  if (fits && safe_save(path, content.data(), length) == 0) return kOk;
  return SaveError();
}

// The temporary file is complete and on disk before the old record goes, and
// takes its name last.  A crash in between leaves path.tmp whole, with or
// without path; a half-written record is never left under its own name.
int CTable::safe_save(const char* path, const char* content, int length) {
  if (path == nullptr || content == nullptr || length < 0 ||
      std::strlen(path) > kRecordPathMax) {
    KIVDB_ERROR(kInvalid, "invalid parameter");
    return -1;
  }
  CPath temporary(path);
  temporary.Append(kTemporarySuffix);
  const char* from = temporary.text();
  if (WriteTemporary(from, content, static_cast<std::size_t>(length)) != 0) {
    return -1;
  }
  if (zel_access(path, F_OK) == 0) {
    KIVDB_INFO(kOk, "remove old record file %s.", path);
    unlink(path);  // what is still there fails the rename or is replaced by it
  }
  const char* slash = std::strrchr(from, '/');
  if (slash == nullptr) {
    KIVDB_ERROR(kInvalid, "%s: Locate Slash in file name [%s] failed.",
                "safe_save", from);
    return -1;
  }
  char directory[kPathSize];
  zelstrncpy(directory, from, kPathBound,
             static_cast<std::size_t>(slash - from));
  if (rename_dirfsync(from, path, directory, 0) == -1) {
    KIVDB_ERROR(kInvalid,
                "%s: failed to rename record file from [%s] to [%s] (%s).",
                "safe_save", from, path, strerror(errno));
    return -1;
  }
  return 0;
}

}  // namespace KivDB
