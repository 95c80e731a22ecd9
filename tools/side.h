// What can be compared: the tables and records of a root or a creation file.

#ifndef TOOLS_SIDE_H_
#define TOOLS_SIDE_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "creation.h"
#include "store.h"

namespace tool {

// One table.
class CTableView {
 public:
  CTableView() = default;
  virtual ~CTableView() = default;
  CTableView(const CTableView&) = delete;
  CTableView& operator=(const CTableView&) = delete;

  virtual const CSchema& schema() const = 0;
  virtual const std::vector<std::string>& Ids() const = 0;  // sorted

  // As CTableReader's.
  virtual std::optional<CRecord> Read(const std::string& id,
                                      std::string& reason) const = 0;

  // The record's name for messages.
  virtual std::string Where(const std::string& id) const = 0;
};

class CSide {
 public:
  CSide() = default;
  virtual ~CSide() = default;
  CSide(const CSide&) = delete;
  CSide& operator=(const CSide&) = delete;

  virtual std::vector<std::string> Tables() const = 0;  // sorted

  // Ends the command for a table that cannot be read.
  virtual std::unique_ptr<CTableView> Open(const std::string& table) const = 0;
};

// A root; the label stands in messages before the names of tables, where it is
// not empty.
std::unique_ptr<CSide> MakeRootSide(const std::string& root,
                                    const std::string& label);

// The tables of a creation file, none of which is no database.
std::unique_ptr<CSide> MakeFileSide(std::vector<CCreationTable> tables);

}  // namespace tool

#endif  // TOOLS_SIDE_H_
