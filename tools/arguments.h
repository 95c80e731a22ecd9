// Arguments of the command line, checked against a table.

#ifndef TOOLS_ARGUMENTS_H_
#define TOOLS_ARGUMENTS_H_

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "store.h"

namespace tool {

// A column by its place, and its plain value.
struct CAssignment {
  std::size_t column;
  std::string value;
};

// Takes KEY=VALUE apart at the first "=".  Ends the command for a text without
// one, a key twice and an unknown column.
std::vector<CAssignment> ParseAssignments(
    const CTableReader& table, const std::vector<std::string>& texts);

// The same for values to write: the id cannot be among them, and neither can a
// value that could not be kept.
std::vector<CAssignment> ParseValues(const CTableReader& table,
                                     const std::vector<std::string>& texts);

// Whether the record has all these values.
bool Meets(const CRecord& record, const std::vector<CAssignment>& conditions);

// The place of a column; ends the command for an unknown one.
std::size_t ColumnOf(const CTableReader& table, const std::string& name);

// Ends the command for an id that is that of no record: neither a name that is
// there in the table nor a number in its one form, or the name of a temporary
// file or marker.
void RequireId(const CTableReader& table, const std::string& id, bool isThere);

// What is wrong with such an id.
std::optional<std::string> FaultOfId(const std::string& id, bool isThere);

// Why the library could not keep the value, if it could not.
std::optional<std::string> FaultOf(const std::string& value);

// Ends the command for a table whose records could hold nothing.
void RequireColumns(const CTableReader& table);

// "TABLE/ID"
std::string Where(const CTableReader& table, const std::string& id);

}  // namespace tool

#endif  // TOOLS_ARGUMENTS_H_
