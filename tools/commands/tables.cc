// tables: what there is, in figures.

#include <fcntl.h>
#include <sys/stat.h>

#include "commands.h"
#include "formats/format.h"
#include "store.h"

namespace tool {
namespace {

struct CFigures {
  long records = 0;
  long bytes = 0;
  long other = 0;  // temporary files, markers, what is no regular file
};

CFigures CountEntries(const CTableReader& table) {
  CFigures figures;
  table.ForEachName([&](const char* name) {
    struct stat status {};
    const bool isThere =
        fstatat(table.directory(), name, &status, AT_SYMLINK_NOFOLLOW) == 0;
    if (!isThere) return true;
    if (S_ISREG(status.st_mode) && KindOf(name) == EntryKind::kRecord) {
      ++figures.records;
      figures.bytes += status.st_size;
    } else {
      ++figures.other;
    }
    return true;
  });
  return figures;
}

// What cannot be found out stays without a value.
CRow MakeRow(const CContext& context, const CStore& store,
             const std::string& name) {
  CRow row;
  row.id = name;
  row.cells.resize(5);
  row.cells[0] = name;
  try {
    const CTableReader table(store, name);
    row.cells[1] = std::to_string(table.schema().columns.size());
    const CFigures figures = CountEntries(table);
    row.cells[2] = std::to_string(figures.records);
    row.cells[3] = std::to_string(figures.bytes);
    row.cells[4] = std::to_string(figures.other);
  } catch (const CEnd& end) {
    context.report.Say(end);
  }
  for (std::size_t i = 1; i < row.cells.size(); ++i) {
    row.raw += (i > 1 ? "\t" : "") + row.cells[i].value_or("");
  }
  return row;
}

}  // namespace

void Tables(const CContext& context, const CTablesOptions& /*options*/) {
  const CStore store(context.globals.root);
  const auto format = MakeFormat(context, {{"table"},
                                           {"columns", "bigint"},
                                           {"records", "bigint"},
                                           {"bytes", "bigint"},
                                           {"other", "bigint"}});
  for (const std::string& name : store.Tables()) {
    format->Add(MakeRow(context, store, name));
  }
  format->End();
}

}  // namespace tool
