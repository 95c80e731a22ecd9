// The database object: its one instance, opening, finding tables.

#include <kivdb/database.h>
#include <kivdb/dir_iterator.h>
#include <kivdb/status.h>

#include <cstring>
#include <memory>
#include <utility>

#include "base/lock.h"
#include "core/log.h"
#include "core/no_throw.h"
#include "core/path.h"
#include "core/text.h"
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

CKivDatabase::~CKivDatabase() {
  for (CTable* table : m_tables) delete table;
}

CKivDatabase* CKivDatabase::Instance() {
  return NoThrow<CKivDatabase*>(nullptr, [] {
    return WithLock(&instance_mutex, [] {
      if (m_instance == nullptr) m_instance = new CKivDatabase;
      return m_instance;
    });
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

bool CKivDatabase::HasRoot() const {
  if (m_path[0] != '\0') return true;
  KIVDB_ERROR(kInvalid, "Kiv DB's path is NULL! Please try open(xxx)");
  return false;
}

int CKivDatabase::open(const char* path) {
  zelstrcpy(m_path, TextOrEmpty(path), sizeof(m_path));
  return open();
}

int CKivDatabase::open() {
  if (m_opened) return kOk;
  if (!HasRoot()) return kInvalid;
  return NoThrow<int>(kNoMemory, [this] { return RegisterTables(); });
}

int CKivDatabase::open(ConfigClass* config) {
  if (config == nullptr) return KIVDB_FAIL(kInvalid, "invalid parameter");
  // The lock waits for a change of the configuration to be done.
  const char* inifile =
      WithLock(config->mutex(), [&] { return config->inifile(); });
  const char* section =
      _zel_config_section_string_table_[kZelSectionStorageDatabase];
  const char* entry = _zel_config_entry_string_table_[kZelEntryPath];
  if (InifileGetValueA(section, entry, m_path, sizeof(m_path), "", inifile) <=
      0) {
    return KIVDB_FAIL(kInvalid, "can't find StorageDatabase Path from [%s]",
                      inifile);
  }
  return open();
}

// A table that an earlier, failed opening registered is not registered again.
int CKivDatabase::RegisterTables() {
  CDirIterator schemas;
  if (schemas.open(CPath(m_path, kSchemaDirectory).text()) != 0) {
    return kNoSchemaDirectory;
  }
  int status = kOk;
  const Walk walk = WalkEntries(schemas, [&](const char* name) {
    if (GetTable(name) == nullptr) status = OpenTable(name);
    return status == kOk;
  });
  if (walk == Walk::kStopped) return status;
  if (walk == Walk::kFailed) return kNoSchemaDirectory;
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
