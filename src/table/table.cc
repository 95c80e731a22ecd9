// The table object and its schema.

#include <cxxabi.h>
#include <fcntl.h>
#include <kivdb/status.h>
#include <kivdb/table.h>
#include <unistd.h>

#include <cstring>
#include <exception>
#include <limits>
#include <memory>

#include "base/lock.h"
#include "core/first_line.h"
#include "core/log.h"
#include "core/no_throw.h"
#include "core/path.h"
#include "core/text.h"
#include "table/shared_mutex.h"
#include "zel.h"

namespace KivDB {

CTable::CTable()
    : m_tablePath{}, m_schemaPath{}, m_mutex(nullptr), m_ownMutex(false) {}

// Delegation makes the table whole first, so that its destructor frees what a
// throw below leaves.
CTable::CTable(const char* root, const char* name) : CTable() {
  m_dbPath = TextOrEmpty(root);
  m_name = TextOrEmpty(name);
  m_mutex = NewSharedMutex();
  m_ownMutex = m_mutex != nullptr;
}

CTable::CTable(const CTable& other) : CTable() { Assign(other); }

CTable& CTable::operator=(const CTable& other) {
  if (this == &other) return *this;
  NoThrow(0, [&] {
    Assign(other);
    return 0;
  });
  return *this;
}

CTable::~CTable() {
  DeleteColumns();
  ReleaseMutex(m_mutex);
}

// Changes nothing when it throws.
void CTable::Assign(const CTable& other) {
  std::string name = other.m_name;
  std::string root = other.m_dbPath;
  std::vector<std::unique_ptr<CColumn>> copies;
  for (const CColumn* column : other.m_columns) {
    copies.push_back(std::make_unique<CColumn>(*column));
  }
  std::vector<CColumn*> columns;
  columns.reserve(copies.size());

  m_name.swap(name);
  m_dbPath.swap(root);
  DeleteColumns();
  for (auto& copy : copies) columns.push_back(copy.release());
  m_columns.swap(columns);
  zelstrcpy(m_tablePath, other.m_tablePath, kPathBound);
  zelstrcpy(m_schemaPath, other.m_schemaPath, kPathBound);
  pthread_mutex_t* old = m_mutex;
  m_mutex = ShareMutex(other.m_mutex);
  m_ownMutex = false;
  ReleaseMutex(old);
}

void CTable::DeleteColumns() {
  for (CColumn* column : m_columns) delete column;
  m_columns.clear();
}

const char* CTable::name() const { return m_name.c_str(); }

bool CTable::HasMutex() const {
  if (m_mutex != nullptr) return true;
  KIVDB_ERROR(kInvalid, "Thread lock is not acquired, cannot proceed!");
  return false;
}

// A name that cannot be that of a table leaves the table path empty, which no
// later operation can open.
bool CTable::BuildPaths() {
  const char* name = m_name.c_str();
  const CPath schema(m_dbPath.c_str(), kSchemaDirectory, name);
  const CPath table(m_dbPath.c_str(), kDataDirectory, name);
  const bool isTable = IsPathComponent(name);
  zelstrcpy(m_schemaPath, schema.text(), kPathBound);
  zelstrcpy(m_tablePath, isTable ? table.text() : "", kPathBound);
  return isTable;
}

int CTable::Open() {
  if (!HasMutex()) return kInvalid;
  return WithLock(m_mutex, [this]() -> int {
    if (!BuildPaths() || zel_access(m_schemaPath, F_OK) != 0) {
      return KIVDB_FAIL(kNoSchema, "no such file [%s]", m_schemaPath);
    }
    return LoadSchemaGuarded();
  });
}

// The unwinding of a cancelled thread has no object for the reference to name.
__attribute__((no_sanitize("null"))) int CTable::LoadSchemaGuarded() {
  try {
    return LoadSchema(m_schemaPath);
  } catch (const std::exception& e) {
    return KIVDB_FAIL(kSchemaUnreadable,
                      "Catched runtime exception in readSchema: %s", e.what());
  } catch (abi::__forced_unwind&) {
    throw;
  } catch (...) {
    return KIVDB_FAIL(kSchemaUnreadable,
                      "Catched unknown runtime exception in readSchema");
  }
}

int CTable::Open(const char* name) {
  const int status = NoThrow<int>(kNoMemory, [&] {
    m_name = TextOrEmpty(name);
    return kOk;
  });
  return status == kOk ? Open() : status;
}

int CTable::readSchema(const char* path) {
  return NoThrow<int>(kNoMemory, [&] { return LoadSchema(TextOrEmpty(path)); });
}

int CTable::LoadSchema(const char* path) {
  DeleteColumns();
  CTextBuffer line;
  switch (
      ReadFirstLine(AT_FDCWD, path, std::numeric_limits<size_t>::max(), line)) {
    case FirstLine::kUnreadable:
      return KIVDB_FAIL(kSchemaUnreadable, "failed to open schema file: %s",
                        path);
    case FirstLine::kNoMemory:
      return KIVDB_FAIL(kNoMemory, "no memory");
    case FirstLine::kRead:
      break;
  }
  if (line.size() == 0) {
    KIVDB_INFO(kEmptySchema, "schema length is 0");
    return kEmptySchema;
  }
  char* specs = line.data();
  while (const char* spec = StringGetNextA(&specs, '|')) {
    auto column = std::make_unique<CColumn>();
    const int status = column->SetInfo(spec);
    if (status == kNoMemory) {
      DeleteColumns();
      return status;
    }
    if (status != kOk) break;
    m_columns.push_back(column.get());
    static_cast<void>(column.release());
  }
  return kOk;
}

}  // namespace KivDB
