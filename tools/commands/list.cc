// list: the records that meet all conditions.

#include <functional>
#include <limits>

#include "arguments.h"
#include "commands.h"
#include "formats/format.h"
#include "store.h"

namespace tool {
namespace {

class CLister {
 public:
  CLister(const CContext& context, const CListOptions& options)
      : m_context(context),
        m_options(options),
        m_table(CStore(context.globals.root), options.table),
        m_conditions(ParseAssignments(m_table, options.conditions)) {
    for (const std::string& name : options.columns) {
      m_places.push_back(ColumnOf(m_table, name));
    }
    if (!options.columns.empty()) return;
    for (std::size_t i = 0; i < m_table.schema().columns.size(); ++i) {
      m_places.push_back(i);
    }
  }

  void Run() {
    m_table.Require();
    std::vector<CField> fields;
    for (const std::size_t place : m_places) {
      fields.push_back(m_table.schema().columns[place]);
    }
    if (!m_options.onlyCounts) {
      m_format = MakeFormat(m_context, std::move(fields));
    }
    ForEachId([this](const std::string& id) { return Take(id); });
    if (m_format) m_format->End();
    if (m_options.onlyCounts) {
      m_context.out.Write(std::to_string(m_count) + "\n");
    }
    if (m_count == 0 && !m_conditions.empty()) {
      m_context.report.Raise(Verdict::kNo);
    }
  }

 private:
  void ForEachId(const std::function<bool(const std::string& id)>& visit) {
    if (m_options.isUnsorted) {
      if (m_format) m_format->Stream();
      m_table.ForEachName([&](const char* name) {
        return KindOf(name) != EntryKind::kRecord || visit(name);
      });
      return;
    }
    for (const std::string& id : m_table.Ids()) {
      if (!visit(id)) return;
    }
  }

  // False when no more are wanted.
  bool Take(const std::string& id) {
    constexpr auto kAll = std::numeric_limits<std::size_t>::max();
    if (m_count >= m_options.limit.value_or(kAll)) return false;
    std::string reason;
    const auto record = m_table.Read(id, reason);
    if (!reason.empty()) m_context.report.Trouble(Where(m_table, id), reason);
    if (!record || !Meets(*record, m_conditions)) return true;
    ++m_count;
    if (m_format) m_format->Add(MakeRow(*record));
    return !m_context.out.IsBroken();
  }

  CRow MakeRow(const CRecord& record) const {
    CRow row{{}, record.id, record.line};
    for (const std::size_t place : m_places) {
      row.cells.emplace_back(record.values[place]);
    }
    return row;
  }

  const CContext& m_context;
  const CListOptions& m_options;
  const CTableReader m_table;
  const std::vector<CAssignment> m_conditions;
  std::vector<std::size_t> m_places;
  std::unique_ptr<CFormat> m_format;
  std::size_t m_count = 0;
};

}  // namespace

void List(const CContext& context, const CListOptions& options) {
  CLister(context, options).Run();
}

}  // namespace tool
