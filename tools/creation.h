// Creation files: what a new database holds.

#ifndef TOOLS_CREATION_H_
#define TOOLS_CREATION_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ini.h"
#include "schema.h"
#include "store.h"

namespace tool {

// What the placeholders in records stand for.
struct CPlaceholders {
  int id = 1;
  std::string host = "127.0.0.1";
};

struct CCreationRecord {
  CRecord record;    // as the library would write and read it
  std::string text;  // as it stands in the file, placeholders in it
  std::size_t line;
};

struct CCreationTable {
  std::string name;
  std::size_t line;
  CSchema schema;
  std::vector<CCreationRecord> records;  // in the order of the file
};

// A text that the library is to create a database from.  What it would take
// otherwise than it stands there ends the command with FILE:LINE.
class CCreationFile {
 public:
  // The name is that for messages.  Ends the command for what is no ini file or
  // has no section, and for an unusable id or host in the first section.
  CCreationFile(std::string name, std::string text);

  const std::string& name() const { return m_name; }
  const std::string& text() const { return m_text; }

  // Of the first section, which is no table: its keys "kivid" and "kivhost".
  const std::optional<int>& id() const { return m_id; }
  const std::optional<std::string>& host() const { return m_host; }

  // Those of the first section, else the library's.
  CPlaceholders Placeholders() const;

  // All tables, in the order of the file, checked.
  std::vector<CCreationTable> Tables(const CPlaceholders& placeholders) const;

  // The text with these in its first section, otherwise byte for byte.
  std::string TextWith(const CPlaceholders& placeholders) const;

 private:
  std::string m_name;
  std::string m_text;
  std::vector<CIniSection> m_sections;
  std::optional<int> m_id;
  std::optional<std::string> m_host;
};

// The regular file at path.  Ends the command where there is none.
CCreationFile ReadCreationFile(const std::string& path);

// Why the host cannot stand for its placeholder, if it cannot.
std::optional<std::string> FaultOfHost(const std::string& host);

// Whether a text holds a placeholder.
bool HasPlaceholder(std::string_view text);

// What the library keeps of a record and of a value in it, in bytes as written.
constexpr std::size_t kCreationRecordMax = 4094;
constexpr std::size_t kCreationValueMax = 2047;  // a schema line, too

}  // namespace tool

#endif  // TOOLS_CREATION_H_
