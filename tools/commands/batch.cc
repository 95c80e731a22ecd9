// batch: add, set and delete lines, done together.

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "batch/lines.h"
#include "change.h"
#include "change_options.h"
#include "commands.h"
#include "difference.h"
#include "disk.h"
#include "draft.h"
#include "ini.h"
#include "input.h"
#include "plan.h"
#include "progress.h"
#include "removed.h"

namespace tool {
namespace {

struct CLine {
  std::string place;
  CChangeOptions options;
  CPlan plan;

  const std::string& table() const {
    return std::visit(
        [](const auto& command) -> const std::string& { return command.table; },
        options);
  }
};

struct CLockedTable {
  CLockedTable(const CContext& context, const CStore& store,
               const std::string& name)
      : change(context, store, name), draft(change) {}

  CChange change;
  CDraft draft;
};

class CBatch {
 public:
  CBatch(const CContext& context, const CStore& store, std::string name)
      : m_context(context), m_store(store), m_name(std::move(name)) {}

  // The steps up to the first change.  Each says what is wrong in the input and
  // then ends the command.
  void Parse(std::string_view text);
  void Lock();
  void Check();

  void Foretell() const;
  void CarryOut();

 private:
  template <typename Body>
  void At(const std::string& place, Body body);
  void EndIfRefused() const;
  void CarryOutLines(const CSignalHold& hold);

  const CContext& m_context;
  const CStore& m_store;
  std::string m_name;
  std::vector<CLine> m_lines;
  std::map<std::string, CLockedTable> m_tables;  // in the order of locks
  std::size_t m_done = 0;                        // lines
  std::string m_results;                         // of them
};

// Says what ends body as something about the place.
template <typename Body>
void CBatch::At(const std::string& place, Body body) {
  CReport& report = m_context.report;
  report.SetPlace(place);
  try {
    body();
  } catch (const CWrongUsage& end) {
    report.No(end.where(), end.what());
  } catch (const CEnd& end) {
    report.Say(end);
  }
  report.SetPlace("");
}

void CBatch::EndIfRefused() const {
  if (m_context.report.verdict() != Verdict::kDone) EndNo("", "");
}

void CBatch::Parse(std::string_view text) {
  for (const auto& [number, words] : SplitBatch(m_name, text)) {
    const std::string place = AtLine(m_name, number);
    At(place, [&, &words = words] {
      m_lines.push_back({place, ParseChange(words), {}});
    });
  }
  EndIfRefused();
}

// All tables before any is looked at, so that the lines are checked against
// one state.
void CBatch::Lock() {
  std::map<std::string, std::string> places;
  for (const CLine& line : m_lines) places.emplace(line.table(), line.place);
  for (const auto& [table, place] : places) {
    At(place, [&, &table = table] {
      m_tables.try_emplace(table, m_context, m_store, table);
    });
    EndIfRefused();
  }
}

// A line that is refused counts as not being there for those behind it.
void CBatch::Check() {
  for (CLine& line : m_lines) {
    At(line.place, [&] {
      CDraft& draft = m_tables.at(line.table()).draft;
      line.plan = PlanInto(m_context, draft, line.options);
    });
  }
  EndIfRefused();
}

void CBatch::Foretell() const {
  CDifferences differences(m_context);
  for (const auto& [name, table] : m_tables) {
    table.draft.Foretell(m_context, differences);
  }
  differences.End();
}

void CBatch::CarryOutLines(const CSignalHold& hold) {
  CRemoved removed(m_store.root());
  CProgress progress(m_context.globals);
  progress.BeginCounted(m_name, m_lines.size());
  for (const CLine& line : m_lines) {
    if (hold.IsPending()) return;
    m_context.report.SetPlace(line.place);
    tool::CarryOut(line.plan, m_tables.at(line.table()).change, removed);
    m_results += line.plan.result;
    ++m_done;
    progress.Step();
  }
}

// A signal ends the process between two lines, when it is said how many were
// done.  The results come when nobody waits for the tables any more.
void CBatch::CarryOut() {
  const CSignalHold hold;
  CReport& report = m_context.report;
  try {
    CarryOutLines(hold);
  } catch (const CEnd& end) {
    report.Say(end);
  }
  report.SetPlace("");
  m_tables.clear();
  if (m_done < m_lines.size()) {
    report.Trouble(m_name, std::to_string(m_done) + " of " +
                               std::to_string(m_lines.size()) +
                               " lines were done");
  }
  m_context.out.Write(m_results);
  if (hold.IsPending()) m_context.out.Finish(report);
}

}  // namespace

void Batch(const CContext& context, const CBatchOptions& options) {
  const CStore store(context.globals.root);
  CBatch batch(context, store, InputName(options.file));
  // Before the locks: what is read may be long in coming.
  batch.Parse(WithoutByteOrderMark(ReadInput(options.file)));
  batch.Lock();
  batch.Check();
  if (options.isDryRun) {
    batch.Foretell();
  } else {
    batch.CarryOut();
  }
}

}  // namespace tool
