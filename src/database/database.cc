// The database object: its one instance, opening, finding tables.

#include <kivdb/database.h>
#include <kivdb/dir_iterator.h>
#include <kivdb/status.h>

#include <cstring>
#include <memory>
#include <utility>

#include "base/lock.h"
#include "core/locked.h"
#include "core/log.h"
#include "core/no_throw.h"
#include "core/null_text.h"
#include "core/path.h"
#include "core/walk.h"
#include "zel.h"

namespace KivDB {
namespace {

constexpr char kLoopback[] = "127.0.0.1";

pthread_mutex_t instance_mutex = PTHREAD_MUTEX_INITIALIZER;

}  // namespace

CKivDatabase* CKivDatabase::m_instance = nullptr;

CKivDatabase::CKivDatabase()
    : m_path{}, m_opened(false), m_tableCount(0), m_id(1), m_host{} {
  SetHost(nullptr);
}

CKivDatabase::~CKivDatabase() { DestroyTables(); }

CKivDatabase* CKivDatabase::Instance() {
  return NoThrow<CKivDatabase*>(
      [] {
        return WithLock(&instance_mutex, [] {
          if (m_instance == nullptr) m_instance = new CKivDatabase;
          return m_instance;
        });
      },
      []() -> CKivDatabase* {
        NoMemory();
        return nullptr;
      });
}

void CKivDatabase::Delete() {
  delete WithLock(&instance_mutex,
                  [] { return std::exchange(m_instance, nullptr); });
}

void CKivDatabase::SetHost(const char* host) {
  const bool isGiven = host != nullptr && *host != '\0';
  zelstrcpy(m_host, isGiven ? host : kLoopback, sizeof(m_host));
}

// What a failed opening registered belongs to the root that it had.
void CKivDatabase::SetRoot(const char* root) {
  if (!m_opened && std::strcmp(m_path, root) != 0) DestroyTables();
  zelstrcpy(m_path, root, sizeof(m_path));
}

void CKivDatabase::DestroyTables() {
  for (CTable* table : m_tables) delete table;
  m_tables.clear();
  m_tableCount = 0;
}

// False, with its line, when there is none.
bool CKivDatabase::RequireRoot() const {
  if (m_path[0] != '\0') return true;
  KIVDB_ERROR(kInvalid, "Kiv DB's path is NULL! Please try open(xxx)");
  return false;
}

int CKivDatabase::open(const char* path) {
  char root[sizeof(m_path)];
  zelstrcpy(root, TextOrEmpty(path), sizeof(root));
  SetRoot(root);
  return open();
}

int CKivDatabase::open() {
  if (m_opened) return kOk;
  if (!RequireRoot()) return kInvalid;
  return NoThrow([this] { return RegisterTables(); });
}

int CKivDatabase::open(ConfigClass* config) {
  if (config == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  // The lock only waits for a change of the configuration to be done.
  WithLock(config->mutex(), [] { return kOk; });
  const char* inifile = config->inifile();
  const char* section =
      _zel_config_section_string_table_[kZelSectionStorageDatabase];
  const char* entry = _zel_config_entry_string_table_[kZelEntryPath];
  char root[sizeof(m_path)];
  zelstrcpy(root, m_path, sizeof(root));
  const int length =
      InifileGetValueA(section, entry, root, sizeof(root), "", inifile);
  SetRoot(root);  // to whatever was delivered
  if (length <= 0) {
    return KIVDB_FAIL(kInvalid, "can't find StorageDatabase Path from [%s]",
                      inifile);
  }
  return open();
}

// A table that an earlier, failed opening registered is not registered again.
int CKivDatabase::RegisterTables() {
  const CPath directory(m_path, kSchemaDirectory);
  CFileLock lock;
  TakeShared(lock, directory.text());
  CDirIterator schemas;
  if (schemas.open(directory.text()) != 0) {
    return kNoSchemaDirectory;
  }
  int status = kOk;
  const WalkResult walk = WalkEntries(schemas, [&](const char* name) {
    if (GetTable(name) == nullptr) status = OpenTable(name);
    return status == kOk;
  });
  if (walk == WalkResult::kStopped) return status;
  if (walk == WalkResult::kFailed) return kNoSchemaDirectory;
  m_opened = true;
  return kOk;
}

// Opens a table of the root and registers it.  Throws std::bad_alloc.
int CKivDatabase::OpenTable(const char* name) {
  auto table = std::make_unique<CTable>(m_path, name);
  const int status = table->Open();
  if (status != kOk) return status;
  m_tables.push_back(table.get());
  static_cast<void>(table.release());
  ++m_tableCount;
  return kOk;
}

CTable* CKivDatabase::GetTable(const char* name) {
  if (name == nullptr) return nullptr;
  for (CTable* table : m_tables) {
    if (std::strcmp(table->name(), name) == 0) return table;
  }
  return nullptr;
}

}  // namespace KivDB
