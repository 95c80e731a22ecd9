// The owner's rights, the table's lock.

#include "change.h"

#include <grp.h>
#include <kivdb/status.h>
#include <kivdb/texts.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "disk.h"
#include "report.h"

namespace tool {
namespace {

bool TakeGroups(const passwd* user, gid_t group) {
  if (user != nullptr) return initgroups(user->pw_name, group) == 0;
  return setgroups(1, &group) == 0;
}

// So that the lock, a member, is asked for by the owner.
const CStore& Owned(const CStore& store, const CContext& context) {
  BecomeOwner(store.root());
  SetWait(context.globals);
  return store;
}

void Require(const KivDB::CText& text, const std::string& where) {
  if (!text.ok()) EndTrouble(where, text.error());
}

KivDB::CUpdateText TextOf(const CTableReader& table,
                          const std::vector<CAssignment>& values) {
  KivDB::CUpdateText text;
  for (const auto& [column, value] : values) {
    text.Set(table.schema().columns[column].name, value);
  }
  return text;
}

}  // namespace

void BecomeOwner(const std::string& root) {
  struct stat owner {};
  const bool isThere = stat((root + "/kiv/database").c_str(), &owner) == 0 ||
                       stat(root.c_str(), &owner) == 0;
  if (!isThere || geteuid() != 0 || owner.st_uid == 0) return;
  const bool isDone = TakeGroups(getpwuid(owner.st_uid), owner.st_gid) &&
                      setgid(owner.st_gid) == 0 && setuid(owner.st_uid) == 0;
  if (!isDone) EndTrouble(root, WithError("cannot become its owner", errno));
}

void SetWait(const CGlobals& globals) {
  KivDB::SetLockWait(static_cast<unsigned int>(globals.wait * 1000));
}

CChange::CChange(const CContext& context, const CStore& store,
                 const std::string& table)
    : m_reader(Owned(store, context), table),
      m_table(store.root().c_str(), table.c_str()),
      m_lock(store.root().c_str(), table.c_str()) {
  m_reader.Require();
  RequireHeld(m_lock, table);
  m_reader.HoldLocked();
  Require(m_table.Open(), "");
}

bool CChange::IsInterrupted(const std::string& id) const {
  return !m_reader.Has(id) && m_reader.Has(id + ".tmp");
}

void CChange::RefuseInterrupted(const std::string& id) const {
  if (IsInterrupted(id)) {
    EndNo(Where(m_reader, id), "only the temporary file is there: run check");
  }
}

void CChange::Write(const CRecordWrite& write) {
  // Of a host that does not lock, or through another name of the directory.
  if (write.isNew && m_reader.Has(write.id)) {
    EndTrouble(Where(m_reader, write.id), "has come meanwhile");
  }
  if (write.whole.empty()) {
    Update(write.id, write.changed);
  } else {
    Save(write.id, write.whole);
  }
}

void CChange::Save(const std::string& id,
                   const std::vector<std::string>& values) {
  KivDB::CRecordText text(id);
  for (const std::string& value : values) text.Add(value);
  tool::Require(text, Where(m_reader, id));
  const CSignalHold hold;
  Require(m_table.addRecord(text.c_str(), nullptr, 0), id);
}

void CChange::RequireUpdatable(const std::string& id,
                               const std::vector<CAssignment>& values) const {
  const auto text = TextOf(m_reader, values);
  if (!text.ok()) EndUsage(Where(m_reader, id), text.error());
}

void CChange::Update(const std::string& id,
                     const std::vector<CAssignment>& values) {
  RequireUpdatable(id, values);
  const KivDB::CUpdateText text = TextOf(m_reader, values);
  const CSignalHold hold;
  Require(m_table.updateRecord(id.c_str(), text.c_str()), id);
}

void CChange::Delete(const std::string& id) {
  const CSignalHold hold;
  Require(m_table.deleteRecord(id.c_str()), id);
  if (m_reader.Has(id)) EndTrouble(Where(m_reader, id), "is still there");
}

void CChange::Clear() {
  const CSignalHold hold;
  Require(m_table.clear(), "");
  m_reader.ForEachName([&](const char* name) {
    if (m_reader.TypeOf(name) != EntryType::kFile) return true;
    EndTrouble(Where(m_reader, name), "is still there");
  });
}

void CChange::Require(int status, const std::string& id) const {
  if (status == KivDB::kOk) return;
  EndTrouble(id.empty() ? m_reader.name() : Where(m_reader, id),
             ReasonOf(status));
}

}  // namespace tool
