// Locks that a host or a tool holds over several operations.

#include <kivdb/lock.h>
#include <kivdb/table.h>

#include <memory>

#include "core/locked.h"
#include "core/null_text.h"
#include "core/path.h"

namespace KivDB {
namespace {

// The lock, or null, logged.
CFileLock* NewLock(const CPath& directory) {
  auto lock = std::make_unique<CFileLock>();
  const LockResult got = TakeLock(*lock, directory.text());
  if (got == LockResult::kNone) LockError();
  return got == LockResult::kHeld ? lock.release() : nullptr;
}

}  // namespace

CTableLock::CTableLock(const CTable& table)
    : CTableLock(table.m_dbPath.c_str(), table.name()) {}

CTableLock::CTableLock(const char* root, const char* table)
    : m_lock(NewLock(TablePath(TextOrEmpty(root), TextOrEmpty(table)))) {}

CTableLock::~CTableLock() { delete m_lock; }

bool CTableLock::isHeld() const { return m_lock != nullptr; }

CSchemaLock::CSchemaLock(const char* root)
    : m_lock(NewLock(CPath(TextOrEmpty(root), kSchemaDirectory))) {}

CSchemaLock::~CSchemaLock() { delete m_lock; }

bool CSchemaLock::isHeld() const { return m_lock != nullptr; }

}  // namespace KivDB
