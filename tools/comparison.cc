// A walk through two sides at once, in the order of their names.

#include "comparison.h"

#include <algorithm>
#include <functional>

#include "difference.h"

namespace tool {
namespace {

using Names = std::vector<std::string>;

// Calls visit with each name of the two sorted lists, and on which it is.
// visit ends the walk with false.
void WalkBoth(const Names& here, const Names& other,
              bool (*isBefore)(const std::string& a, const std::string& b),
              const std::function<bool(const std::string& name, bool isHere,
                                       bool isOther)>& visit) {
  auto a = here.begin();
  auto b = other.begin();
  while (a != here.end() || b != other.end()) {
    const bool isHere =
        a != here.end() && (b == other.end() || !isBefore(*b, *a));
    const bool isOther =
        b != other.end() && (a == here.end() || !isBefore(*a, *b));
    if (!visit(isHere ? *a : *b, isHere, isOther)) return;
    if (isHere) ++a;
    if (isOther) ++b;
  }
}

bool AreInOrder(const std::string& a, const std::string& b) { return a < b; }

class CComparison {
 public:
  CComparison(const CContext& context, const CSide& here, const CSide& other)
      : m_context(context),
        m_here(here),
        m_other(other),
        m_differences(context) {}

  bool Run() {
    WalkBoth(m_here.Tables(), m_other.Tables(), AreInOrder,
             [this](const std::string& table, bool isHere, bool isOther) {
               try {
                 CompareTables(table, isHere, isOther);
               } catch (const CEnd& end) {
                 m_context.report.Say(end);
               }
               return !m_context.out.IsBroken();
             });
    m_differences.End();
    return !m_differences.AreNone();
  }

 private:
  void CompareTables(const std::string& table, bool isHere, bool isOther) {
    if (isHere != isOther) {
      m_differences.Shape(isHere ? '-' : '+', table, "", "", "");
    }
    const auto a = isHere ? m_here.Open(table) : nullptr;
    const auto b = isOther ? m_other.Open(table) : nullptr;
    if (a && b) m_differences.Columns(table, a->schema(), b->schema());
    const Names none;
    WalkBoth(a ? a->Ids() : none, b ? b->Ids() : none, IdsInOrder,
             [&](const std::string& id, bool hasHere, bool hasOther) {
               CompareRecords(table, id, hasHere ? a.get() : nullptr,
                              hasOther ? b.get() : nullptr);
               return !m_context.out.IsBroken();
             });
  }

  // Null where there is no such record.  False for one that cannot be read.
  bool Read(const CTableView* table, const std::string& id,
            std::optional<CRecord>& record) {
    if (table == nullptr) return true;
    std::string reason;
    record = table->Read(id, reason);
    if (reason.empty()) return true;
    m_context.report.Trouble(table->Where(id), reason);
    return false;
  }

  void CompareRecords(const std::string& table, const std::string& id,
                      const CTableView* here, const CTableView* other) {
    std::optional<CRecord> a;
    std::optional<CRecord> b;
    const bool isReadHere = Read(here, id, a);
    if (!Read(other, id, b) || !isReadHere) return;
    if (a && b) {
      m_differences.Compare(table, here->schema(), *a, other->schema(), *b);
    } else if (a) {
      m_differences.Removed(table, here->schema(), *a);
    } else if (b) {
      m_differences.Added(table, other->schema(), *b);
    }
  }

  const CContext& m_context;
  const CSide& m_here;
  const CSide& m_other;
  CDifferences m_differences;
};

}  // namespace

bool PrintDifferences(const CContext& context, const CSide& here,
                      const CSide& other) {
  return CComparison(context, here, other).Run();
}

}  // namespace tool
