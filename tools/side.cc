// The two kinds of sides.

#include "side.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "arguments.h"
#include "report.h"

namespace tool {
namespace {

std::string Labelled(const std::string& label, const std::string& where) {
  if (label.empty() || where.empty()) return label + where;
  return label + ": " + where;
}

class CRootView : public CTableView {
 public:
  CRootView(const CStore& store, const std::string& table, std::string label)
      : m_table(store, table),
        m_ids(m_table.Ids()),
        m_label(std::move(label)) {}

  const CSchema& schema() const override { return m_table.schema(); }
  const std::vector<std::string>& Ids() const override { return m_ids; }
  std::optional<CRecord> Read(const std::string& id,
                              std::string& reason) const override {
    return m_table.Read(id, reason);
  }
  std::string Where(const std::string& id) const override {
    return Labelled(m_label, tool::Where(m_table, id));
  }

 private:
  const CTableReader m_table;
  const std::vector<std::string> m_ids;
  const std::string m_label;
};

class CRootSide : public CSide {
 public:
  CRootSide(const std::string& root, std::string label)
      : m_store(root), m_label(std::move(label)) {}

  std::vector<std::string> Tables() const override { return m_store.Tables(); }

  std::unique_ptr<CTableView> Open(const std::string& table) const override {
    try {
      return std::make_unique<CRootView>(m_store, table, m_label);
    } catch (const CEnd& end) {
      throw CEnd(end.verdict(), Labelled(m_label, end.where()), end.what());
    }
  }

 private:
  const CStore m_store;
  const std::string m_label;
};

// The table is the side's.
class CFileView : public CTableView {
 public:
  explicit CFileView(const CCreationTable& table) : m_table(table) {
    for (const CCreationRecord& record : table.records) {
      m_ids.push_back(record.record.id);
      m_records[record.record.id] = &record.record;
    }
    std::sort(m_ids.begin(), m_ids.end(), IdsInOrder);
  }

  const CSchema& schema() const override { return m_table.schema; }
  const std::vector<std::string>& Ids() const override { return m_ids; }
  std::optional<CRecord> Read(const std::string& id,
                              std::string& reason) const override {
    reason.clear();
    return *m_records.at(id);
  }
  std::string Where(const std::string& id) const override {
    return m_table.name + "/" + id;
  }

 private:
  const CCreationTable& m_table;
  std::vector<std::string> m_ids;
  std::unordered_map<std::string, const CRecord*> m_records;
};

class CFileSide : public CSide {
 public:
  explicit CFileSide(std::vector<CCreationTable> tables)
      : m_tables(std::move(tables)) {
    std::sort(m_tables.begin(), m_tables.end(),
              [](const CCreationTable& a, const CCreationTable& b) {
                return a.name < b.name;
              });
  }

  std::vector<std::string> Tables() const override {
    std::vector<std::string> names;
    for (const CCreationTable& table : m_tables) names.push_back(table.name);
    return names;
  }

  std::unique_ptr<CTableView> Open(const std::string& table) const override {
    for (const CCreationTable& own : m_tables) {
      if (own.name == table) return std::make_unique<CFileView>(own);
    }
    EndTrouble(table, "no such table");
  }

 private:
  std::vector<CCreationTable> m_tables;
};

}  // namespace

std::unique_ptr<CSide> MakeRootSide(const std::string& root,
                                    const std::string& label) {
  return std::make_unique<CRootSide>(root, label);
}

std::unique_ptr<CSide> MakeFileSide(std::vector<CCreationTable> tables) {
  return std::make_unique<CFileSide>(std::move(tables));
}

}  // namespace tool
