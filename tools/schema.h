// The columns of a table, as its schema line tells them.

#ifndef TOOLS_SCHEMA_H_
#define TOOLS_SCHEMA_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

// A column, or what a format prints as one.
struct CField {
  std::string name;
  std::string type = "varchar";  // or int, bigint

  bool IsNumber() const { return type != "varchar"; }

  // Whether the value is a decimal number of the type's range as the library
  // prints it: no "+", no blanks, no leading zeros, no "-0".
  bool HoldsNumber(std::string_view value) const;
};

struct CSchema {
  std::string line;             // as it stands in the file
  std::vector<CField> columns;  // up to the first that is none
  bool isWhole = true;          // the line is columns to its end

  std::optional<std::size_t> Find(std::string_view name) const;

  // The one at this place where it has the name, else as above: so each of two
  // columns of one name finds itself.
  std::optional<std::size_t> Find(std::string_view name,
                                  std::size_t place) const;

  // "id, name, port"
  std::string Names() const;
};

// Takes a line apart as the library does.
CSchema ParseSchema(std::string line);

// A decimal from -2147483648 to 2147483647 in its one form.
bool IsCanonicalId(std::string_view id);

}  // namespace tool

#endif  // TOOLS_SCHEMA_H_
