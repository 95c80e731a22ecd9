// Printing changes.

#include "difference.h"

#include <optional>
#include <utility>

#include "printable.h"

namespace tool {
namespace {

// A value in a line, where blanks separate: quoted when it is empty or has any.
std::string Quoted(const std::string& value) {
  std::string text = Printable(value);
  if (!text.empty() && text.find_first_of(" \"") == text.npos) return text;
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"') quoted += '\\';
    quoted += c;
  }
  return quoted + "\"";
}

}  // namespace

std::vector<CChangedValue> ChangedValues(const CSchema& schema,
                                         const CRecord& from,
                                         const CSchema& otherSchema,
                                         const CRecord& to, Lacking lacking) {
  std::vector<CChangedValue> changed;
  const auto compare = [&](const CField& field, const std::string& a,
                           const std::string& b) {
    if (a != b) changed.push_back({field, a, b});
  };
  const bool isAll = lacking == Lacking::kEmpty;
  for (std::size_t i = 1; i < from.values.size(); ++i) {
    const CField& field = schema.columns[i];
    const auto place = otherSchema.Find(field.name, i);
    if (place && *place < to.values.size()) {
      compare(field, from.values[i], to.values[*place]);
    } else if (isAll) {
      compare(field, from.values[i], "");
    }
  }
  for (std::size_t i = 1; isAll && i < to.values.size(); ++i) {
    const CField& field = otherSchema.columns[i];
    if (!schema.Find(field.name, i)) compare(field, "", to.values[i]);
  }
  return changed;
}

CDifferences::CDifferences(const CContext& context, bool hasKept)
    : m_out(context.out), m_hasKept(hasKept) {
  if (context.globals.format == "table") return;
  std::vector<CField> fields;
  for (const char* name : {"change", "table", "id", "column", "old", "new"}) {
    fields.push_back({name});
    if (fields.back().name == "id") fields.back().type = "int";
  }
  if (m_hasKept) fields.push_back({"here"});
  m_format = MakeFormat(context, std::move(fields));
}

void CDifferences::Row(char change, const std::string& table,
                       std::optional<std::string> id,
                       std::optional<std::string> column,
                       std::optional<std::string> from,
                       std::optional<std::string> to,
                       std::optional<std::string> here) {
  CRow row;
  row.id = table + (id ? "/" + *id : "");
  row.cells = {std::string(1, change), table,           std::move(id),
               std::move(column),      std::move(from), std::move(to)};
  if (m_hasKept) row.cells.push_back(std::move(here));
  for (const auto& cell : row.cells) {
    row.raw += (row.raw.empty() ? "" : "\t") + cell.value_or("");
  }
  m_format->Add(row);
}

void CDifferences::Whole(char change, const std::string& table,
                         const CSchema& schema, const CRecord& record) {
  m_areNone = false;
  std::string line = change + (" " + Printable(table + "/" + record.id));
  for (std::size_t i = 1; i < record.values.size(); ++i) {
    const std::string& value = record.values[i];
    const std::string& name = schema.columns[i].name;
    line += " " + Printable(name) + "=" + Quoted(value);
    if (m_format == nullptr) continue;
    const std::optional<std::string> none;
    Row(change, table, record.id, name, change == '-' ? value : none,
        change == '+' ? value : none);
  }
  if (m_format == nullptr) m_out.Write(line + "\n");
}

void CDifferences::Removed(const std::string& table, const CSchema& schema,
                           const CRecord& record) {
  Whole('-', table, schema, record);
}

void CDifferences::Added(const std::string& table, const CSchema& schema,
                         const CRecord& record) {
  Whole('+', table, schema, record);
}

void CDifferences::Bare(char change, const std::string& table,
                        const std::string& id) {
  m_areNone = false;
  const std::optional<std::string> none;
  if (m_format != nullptr) {
    Row(change, table, id, none, none, none);
  } else {
    m_out.Write(change + (" " + Printable(table + "/" + id)) + "\n");
  }
}

void CDifferences::Changed(const std::string& table, const std::string& id,
                           const CField& field, const std::string& from,
                           const std::string& to) {
  m_areNone = false;
  if (m_format != nullptr) {
    Row('~', table, id, field.name, from, to);
    return;
  }
  m_out.Write("~ " + Printable(table + "/" + id) + " " + Printable(field.name) +
              ": " + Quoted(from) + " -> " + Quoted(to) + "\n");
}

void CDifferences::Kept(const std::string& table, const std::string& id,
                        const CField& field, const std::string& shipped,
                        const std::string& now, const std::string& here) {
  m_areNone = false;
  if (m_format != nullptr) {
    Row('!', table, id, field.name, shipped, now, here);
    return;
  }
  m_out.Write("! " + Printable(table + "/" + id) + " " + Printable(field.name) +
              ": shipped " + Quoted(shipped) + ", now " + Quoted(now) +
              ", here " + Quoted(here) + "\n");
}

void CDifferences::Compare(const std::string& table, const CSchema& schema,
                           const CRecord& from, const CSchema& otherSchema,
                           const CRecord& to) {
  for (const CChangedValue& value :
       ChangedValues(schema, from, otherSchema, to, Lacking::kLeftOut)) {
    Changed(table, from.id, value.field, value.from, value.to);
  }
}

void CDifferences::Shape(char change, const std::string& table,
                         const std::string& column, const std::string& from,
                         const std::string& to) {
  m_areNone = false;
  if (m_format != nullptr) {
    const std::optional<std::string> none;
    Row(change, table, none, column.empty() ? none : column,
        from.empty() ? none : from, to.empty() ? none : to);
    return;
  }
  std::string line = change + (" " + Printable(table));
  if (!column.empty()) line += "." + Printable(column);
  if (change == '~') {
    line += ": " + Quoted(from) + " -> " + Quoted(to);
  } else if (!(from + to).empty()) {
    line += " " + from + to;
  }
  m_out.Write(line + "\n");
}

void CDifferences::Columns(const std::string& table, const CSchema& from,
                           const CSchema& to) {
  for (std::size_t i = 0; i < from.columns.size(); ++i) {
    const CField& field = from.columns[i];
    const auto place = to.Find(field.name, i);
    if (!place) {
      Shape('-', table, field.name, field.type, "");
    } else if (to.columns[*place].type != field.type) {
      Shape('~', table, field.name, field.type, to.columns[*place].type);
    }
  }
  for (const CField& field : to.columns) {
    if (!from.Find(field.name)) Shape('+', table, field.name, "", field.type);
  }
}

void CDifferences::End() {
  if (m_format != nullptr) m_format->End();
}

}  // namespace tool
