// Reading records and comparing them with what is known of them.

#include "watch/records.h"

#include <algorithm>
#include <utility>

#include "arguments.h"
#include "difference.h"

namespace tool {

CRecords::CRecords(CTableReader reader, CSink& sink)
    : m_sink(sink),
      m_reader(std::move(reader)),
      m_schema(std::make_shared<CSchema>(m_reader.schema())) {}

void CRecords::Exchange(CTableReader reader) {
  m_reader = std::move(reader);
  m_schema = std::make_shared<CSchema>(m_reader.schema());
}

void CRecords::Rename(CTableReader reader) {
  m_reader = std::move(reader);
  *m_schema = m_reader.schema();
}

std::vector<std::string> CRecords::Ids() const {
  std::vector<std::string> ids;
  ids.reserve(m_known.size());
  for (const auto& [id, known] : m_known) ids.push_back(id);
  std::sort(ids.begin(), ids.end(), IdsInOrder);
  return ids;
}

void CRecords::Saved(const std::string& id,
                     const std::function<bool()>& isChangedAgain) {
  std::optional<CRecord> record;
  const Finding finding = Look(id, record, isChangedAgain);
  if (finding == Finding::kOther) {
    if (IsKnown(id)) Removed(id);
    return;
  }
  Put(id, std::move(record), finding != Finding::kUnreadable);
}

void CRecords::Removed(const std::string& id) {
  const CKnown& known = m_known.at(id);
  m_sink.Take({'-', m_reader.name(), id, known.schema, m_schema, Known(id),
               std::nullopt});
  m_known.erase(id);
}

void CRecords::Compare(const std::string& id) {
  std::optional<CRecord> record;
  const Finding finding = Look(id, record, [] { return false; });
  if (finding == Finding::kGone || finding == Finding::kOther) {
    if (IsKnown(id)) Removed(id);
  } else if (!IsKnown(id) || Differs(id, record)) {
    Put(id, std::move(record), finding == Finding::kRecord);
  } else if (record) {
    m_known[id] = {std::move(record->line), m_schema};
  }
}

bool CRecords::IsReadable(const std::string& id) const {
  std::string reason;
  return m_reader.TypeOf(id) == EntryType::kFile &&
         m_reader.Read(id, reason).has_value();
}

bool CRecords::IsAsKnown(const std::string& id) const {
  const auto found = m_known.find(id);
  const CLine line = ReadLine(m_reader.directory(), id);
  return found != m_known.end() && line.error == 0 &&
         line.text == found->second.line;
}

CRecords::Finding CRecords::Look(
    const std::string& id, std::optional<CRecord>& record,
    const std::function<bool()>& isChangedAgain) const {
  // Before it is read, as reading waits for the save of one that is not there.
  const EntryType type = m_reader.TypeOf(id);
  if (type == EntryType::kNone) return Finding::kGone;
  if (type == EntryType::kOther) return Finding::kOther;
  std::string reason;
  record = m_reader.Read(id, reason);
  if (record) return Finding::kRecord;
  if (reason.empty() || isChangedAgain()) return Finding::kGone;
  m_sink.report().Tell(Where(m_reader, id), reason);
  return Finding::kUnreadable;
}

// One that has gone by now keeps the values that it had.
void CRecords::Put(const std::string& id, std::optional<CRecord> record,
                   bool isReadable) {
  CSeen seen{'+', m_reader.name(), id, m_schema, m_schema, Known(id), {}};
  const auto [place, isNew] = m_known.try_emplace(id, CKnown{{}, m_schema});
  CKnown& known = place->second;
  if (!isNew) seen.change = '~';
  seen.oldSchema = known.schema;
  if (record || !isReadable) known = {{}, m_schema};
  if (record) known.line = record->line;
  seen.now = std::move(record);
  m_sink.Take(seen);
}

bool CRecords::Differs(const std::string& id,
                       const std::optional<CRecord>& record) const {
  const CKnown& known = m_known.at(id);
  if (!record || !known.line) return record.has_value() || known.line;
  if (known.schema == m_schema && known.line == record->line) return false;
  const auto old = Known(id);
  return !old || !ChangedValues(*known.schema, *old, *m_schema, *record,
                                Lacking::kEmpty)
                      .empty();
}

std::optional<CRecord> CRecords::Known(const std::string& id) const {
  const auto found = m_known.find(id);
  if (found == m_known.end() || !found->second.line) return std::nullopt;
  std::string reason;
  return ParseRecord(*found->second.schema, id, *found->second.line, reason);
}

}  // namespace tool
