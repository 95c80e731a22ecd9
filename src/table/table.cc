// Construction, copies, opening and schemas.

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
#include "core/locked.h"
#include "core/log.h"
#include "core/no_throw.h"
#include "core/null_text.h"
#include "core/path.h"
#include "table/shared_mutex.h"
#include "zel.h"

namespace KivDB {

CTable::CTable()
    : m_tablePath{},
      m_schemaPath{},
      m_mutex(nullptr),
      m_ownMutex(false),
      m_cursorIsOwn(false) {}

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
  NoThrow([&]() -> int {
    Assign(other);
    return kOk;
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
  SetPaths(other.m_tablePath, other.m_schemaPath);
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

// False, with its line, when there is none.
bool CTable::RequireMutex() const {
  if (m_mutex != nullptr) return true;
  LockError();
  return false;
}

// A name that cannot be that of a table leaves the table path empty, which no
// later operation can open.
bool CTable::BuildPaths() {
  const char* root = m_dbPath.c_str();
  const char* name = m_name.c_str();
  SetPaths(TablePath(root, name).text(),
           CPath(root, kSchemaDirectory, name).text());
  return m_tablePath[0] != '\0';
}

// A cursor goes on with its names, but no longer shows where their files are.
void CTable::SetPaths(const char* table, const char* schema) {
  if (std::strcmp(m_tablePath, table) != 0) m_cursorIsOwn = false;
  zelstrcpy(m_tablePath, table, kPathBound);
  zelstrcpy(m_schemaPath, schema, kPathBound);
}

int CTable::Open() {
  if (!RequireMutex()) return kInvalid;
  if (!BuildPaths() || zel_access(m_schemaPath, F_OK) != 0) {
    return KIVDB_FAIL(kNoSchema, "no such file [%s]", m_schemaPath);
  }
  return WithLock(m_mutex, [this] { return LoadSchemaGuarded(); });
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
  const int status = NoThrow([&]() -> int {
    m_name = TextOrEmpty(name);
    return kOk;
  });
  return status == kOk ? Open() : status;
}

int CTable::readSchema(const char* path) {
  return NoThrow([&] { return LoadSchema(TextOrEmpty(path)); });
}

// Throws std::bad_alloc with the columns so far, but not for the line.
int CTable::LoadSchema(const char* path) {
  DeleteColumns();
  CTextBuffer line;
  const int status = NoThrow([&]() -> int {
    constexpr std::size_t kWhole = std::numeric_limits<std::size_t>::max();
    if (ReadFirstLine(AT_FDCWD, path, kWhole, line) == ReadResult::kRead) {
      return kOk;
    }
    return KIVDB_FAIL(kSchemaUnreadable, "failed to open schema file: %s",
                      path);
  });
  if (status != kOk) return status;
  if (line.size() == 0) {
    KIVDB_INFO(kEmptySchema, "schema length is 0");
    return kEmptySchema;
  }
  AddColumns(line.data());
  return kOk;
}

// Up to the first malformed spec.  Throws std::bad_alloc.
void CTable::AddColumns(char* specs) {
  while (const char* spec = StringGetNextA(&specs, kSeparator)) {
    auto column = std::make_unique<CColumn>();
    if (column->ParseSpec(spec) != kOk) break;
    m_columns.push_back(column.get());
    static_cast<void>(column.release());
  }
}

}  // namespace KivDB
