// dump: a creation file of what is there.

#include <fcntl.h>
#include <kivdb/escape.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <utility>

#include "arguments.h"
#include "commands.h"
#include "creation.h"
#include "ini.h"
#include "store.h"

namespace tool {
namespace {

constexpr char kRedacted[] = "***";

// What cannot be expressed.
struct CRefusal {
  std::string what;
};

std::string WithCode(std::string text, char c, const char* code) {
  for (std::size_t at = 0; (at = text.find(c, at)) != text.npos;) {
    text.replace(at, 1, code);
  }
  return text;
}

// A stored value as a field of a record in a creation file: as it stands, or
// written anew where that would be read as something else.
std::string FieldOf(const std::string& stored, bool isQuoted) {
  const bool hasQuote = isQuoted && stored.find('"') != stored.npos;
  const bool isKept = stored.find(',') == stored.npos &&
                      !HasPlaceholder(stored) && !HasOuterBlanks(stored) &&
                      !hasQuote;
  if (isKept) return stored;
  std::string field = KivDB::Escape(KivDB::Unescape(stored));
  if (HasPlaceholder(field)) field = WithCode(std::move(field), '{', "\\x7b");
  if (isQuoted) field = WithCode(std::move(field), '"', "\\x22");
  return field;
}

// The text of a record, whose last value must not go with the line's end.
std::string RecordOf(const std::string& id,
                     const std::vector<std::string>& stored) {
  const bool isQuoted = stored.back().empty();
  std::string text = id;
  for (std::size_t i = 0; i < stored.size(); ++i) {
    const std::string field = FieldOf(stored[i], isQuoted);
    if (field.size() > kCreationValueMax) {
      throw CRefusal{"value " + std::to_string(i + 2) + " is over " +
                     std::to_string(kCreationValueMax) + " bytes as written"};
    }
    text += ", " + field;
  }
  if (text.size() > kCreationRecordMax) {
    throw CRefusal{"over " + std::to_string(kCreationRecordMax) +
                   " bytes in all"};
  }
  return isQuoted ? '"' + text + '"' : text;
}

void RequireName(const std::string& table) {
  const bool isName =
      table.find_first_of("]\n") == table.npos && !HasOuterBlanks(table);
  if (!isName) throw CRefusal{"no name of a section can be this"};
}

std::string SchemaText(const CSchema& schema) {
  if (schema.line.empty()) throw CRefusal{"the schema is empty"};
  if (schema.columns.empty()) throw CRefusal{"the schema has no column"};
  if (schema.line.size() > kCreationValueMax) {
    throw CRefusal{"the schema is over " + std::to_string(kCreationValueMax) +
                   " bytes"};
  }
  const auto text = IniText(schema.line);
  if (!text) throw CRefusal{"the schema cannot be written into one line"};
  return *text;
}

class CDumper {
 public:
  CDumper(const CContext& context, const CDumpOptions& options)
      : m_context(context),
        m_store(context.globals.root),
        m_all(m_store.Tables()) {
    for (const std::string& text : options.redacted) ParseRedacted(text);
    m_tables = options.tables.empty() ? m_all : options.tables;
    std::sort(m_tables.begin(), m_tables.end());
    m_tables.erase(std::unique(m_tables.begin(), m_tables.end()),
                   m_tables.end());
  }

  void Run() {
    Write("; The first section is no table.\n[" + FirstSection() + "]\n");
    for (const std::string& table : m_tables) {
      try {
        Dump(table);
      } catch (const CRefusal& refusal) {
        m_context.report.No(table, refusal.what);
      } catch (const CEnd& end) {
        m_context.report.Say(end);
      }
      if (m_context.out.IsBroken()) return;
    }
  }

 private:
  void Write(std::string_view text) { m_context.out.Write(text); }

  // Both names may hold a point.
  void ParseRedacted(const std::string& text) {
    bool isFound = false;
    for (std::size_t at = 0; (at = text.find('.', at)) != text.npos; ++at) {
      const std::string table = text.substr(0, at);
      const std::string column = text.substr(at + 1);
      if (!std::binary_search(m_all.begin(), m_all.end(), table)) continue;
      const auto place = m_store.Schema(table).Find(column);
      if (!place) continue;
      if (*place == 0) EndTrouble(text, "an id cannot be redacted");
      m_redacted.insert({table, column});
      isFound = true;
    }
    if (!isFound) EndTrouble(text, "no such TABLE.COLUMN to redact");
  }

  // The name of no table.
  std::string FirstSection() const {
    std::string name = "dump";
    for (int i = 2; std::binary_search(m_all.begin(), m_all.end(), name); ++i) {
      name = "dump " + std::to_string(i);
    }
    return name;
  }

  // Read here, as an empty one is refused and not trouble.
  CSchema SchemaOf(const std::string& table) const {
    const bool isKnown = std::binary_search(m_all.begin(), m_all.end(), table);
    CLine line;
    if (isKnown) line = ReadLine(AT_FDCWD, m_store.SchemaPathOf(table));
    if (!isKnown || line.error != 0) return m_store.Schema(table);
    return ParseSchema(std::move(line.text));
  }

  void Dump(const std::string& table) {
    RequireName(table);
    const std::string schema = SchemaText(SchemaOf(table));
    Write("\n[" + table + "]\nschema = " + schema + "\n");
    const CTableReader reader(m_store, table);
    std::size_t count = 0;
    for (const std::string& id : reader.Ids()) {
      try {
        const auto text = ReadText(reader, id);
        if (!text) continue;
        Write("rec_" + std::to_string(++count) + " = " + *text + "\n");
      } catch (const CRefusal& refusal) {
        m_context.report.No(Where(reader, id), refusal.what);
      }
      if (m_context.out.IsBroken()) return;
    }
  }

  // None for a record that has gone, or whose file is not read.
  std::optional<std::string> ReadText(const CTableReader& reader,
                                      const std::string& id) {
    if (!IsCanonicalId(id)) {
      throw CRefusal{"the library would write another id"};
    }
    if (reader.schema().columns.size() < 2) {
      throw CRefusal{"a record of a table without columns but the id"};
    }
    std::string reason;
    const auto record = reader.Read(id, reason);
    if (record) return RecordOf(id, StoredOf(reader, *record));
    if (reason.empty()) return std::nullopt;
    const int error = ReadLine(reader.directory(), id).error;
    if (error == 0 || error == EINVAL) throw CRefusal{reason};
    m_context.report.Trouble(Where(reader, id), reason);
    return std::nullopt;
  }

  // The stored values of the columns behind the id.
  std::vector<std::string> StoredOf(const CTableReader& reader,
                                    const CRecord& record) {
    const auto& columns = reader.schema().columns;
    if (record.line.find('\0') != record.line.npos) {
      throw CRefusal{"a byte 0"};
    }
    const auto stored = SplitLine(record.line, record.line.npos);
    std::vector<std::string> values;
    for (std::size_t i = 1; i < columns.size(); ++i) {
      const bool isRedacted =
          m_redacted.count({reader.name(), columns[i].name}) != 0;
      values.emplace_back(isRedacted ? kRedacted : stored[i - 1]);
    }
    NameSurplus(reader, record.id, stored.size() - values.size(),
                stored.back());
    return values;
  }

  // A carriage return behind the last value is the end of a line.
  void NameSurplus(const CTableReader& reader, const std::string& id,
                   std::size_t count, std::string_view last) {
    if (count == 0 || (count == 1 && last == "\r")) return;
    m_context.report.No(
        Where(reader, id),
        "values left out, without a column: " + std::to_string(count));
  }

  const CContext& m_context;
  const CStore m_store;
  const Texts m_all;
  Texts m_tables;
  std::set<std::pair<std::string, std::string>> m_redacted;
};

}  // namespace

void Dump(const CContext& context, const CDumpOptions& options) {
  CDumper(context, options).Run();
}

}  // namespace tool
