// Ini files as the library reads them, with the line of everything.

#ifndef TOOLS_INI_H_
#define TOOLS_INI_H_

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

struct CIniValue {
  std::string text;
  std::size_t line;  // counted from 1
};

struct CIniSection {
  std::string name;
  std::size_t line;                         // of its first header
  std::map<std::string, CIniValue> values;  // of equal keys the first

  // Null where there is no such key.
  const CIniValue* Find(const std::string& key) const;
};

// Every section once, in the order of the file.  Ends the command, with file
// as the name of it, for what makes the whole file unusable.
std::vector<CIniSection> ParseIni(const std::string& file,
                                  std::string_view text);

// What must stand behind "key = " to be read as this value; none for a value
// that no ini file can hold.
std::optional<std::string> IniText(const std::string& value);

// Whether there are blanks at the ends, which reading takes away.
bool HasOuterBlanks(std::string_view text);

// The text without them.
std::string_view Trim(std::string_view text);

// "FILE:LINE"
std::string AtLine(const std::string& file, std::size_t line);

}  // namespace tool

#endif  // TOOLS_INI_H_
