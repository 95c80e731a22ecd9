// Schema lines, and what a table's columns become.

#ifndef UPGRADE_COLUMNS_H_
#define UPGRADE_COLUMNS_H_

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace KivDB {

struct CSpec {
  std::string name;
  std::string type;

  bool operator==(const CSpec& other) const {
    return name == other.name && type == other.type;
  }
};

// The id is the first column.
class CSpecs {
 public:
  // Takes a schema line.  False when it stops being columns before its end,
  // names one twice, or has fewer than two.
  bool Parse(const std::string& line);

  std::string Line() const;

  // "id:int,name:varchar", as a migration takes it.
  std::string Description() const;

  std::optional<std::size_t> Find(const std::string& name) const;

  std::size_t size() const { return m_specs.size(); }
  const CSpec& operator[](std::size_t place) const { return m_specs[place]; }
  void Add(CSpec spec) { m_specs.push_back(std::move(spec)); }
  bool operator==(const CSpecs& other) const {
    return m_specs == other.m_specs;
  }

 private:
  std::vector<CSpec> m_specs;
};

// Reads the schema of a table.  kNoSchema, or kSchemaUnreadable also for a line
// that Parse refuses; both with their line.
int ReadSpecs(const std::string& path, CSpecs& specs);

// The columns that a table gets, and the place where each of them is now.
struct CColumnChange {
  CSpecs columns;
  std::vector<std::optional<std::size_t>> sources;  // none: a new column

  // Takes "name:type,old>new:type,...".  kSyntax or kUnknownType, with its
  // line, for what are no columns of a table.
  int Parse(const std::string& description, const CSpecs& now);

  // The names of columns that are not taken over, "a, b".
  std::string Dropped(const CSpecs& now) const;

  // Whether every value stays in its place: names and types alone change.
  bool KeepsValues(const CSpecs& now) const;
};

}  // namespace KivDB

#endif  // UPGRADE_COLUMNS_H_
