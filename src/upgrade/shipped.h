// Creation files in memory: what a release ships.

#ifndef UPGRADE_SHIPPED_H_
#define UPGRADE_SHIPPED_H_

#include <map>
#include <string>
#include <vector>

#include "upgrade/columns.h"
#include "upgrade/migration.h"

namespace KivDB {

// What the placeholders stand for; 0 and the empty text: unknown.
struct CPlace {
  int id = 0;
  std::string host;

  bool IsKnown() const { return id != 0 && !host.empty(); }
};

struct CShippedRecord {
  CStored templates;    // the values behind the id as they stand in the file
  CStored values;       // with the placeholders put in
  bool isOpen = false;  // one of them is not known: there are no values
};

struct CShippedTable {
  std::string name;
  CSpecs columns;
  std::map<int, CShippedRecord> records;  // by id, of equal ones the last

  const CShippedRecord* Find(int id) const;

  // That of a column among the templates or values of a record, or null.
  const std::string* Value(const CStored& values,
                           const std::string& column) const;
};

struct CShippedFile {
  std::string section;  // the first, which is no table
  CPlace place;
  std::vector<CShippedTable> tables;

  // Of a base: the fingerprint of what it was made from, where that delivered
  // less than it ships; else empty.
  std::string origin;

  const CShippedTable* Find(const std::string& table) const;

  // Reads it as Create does.  The place that is given counts; of a base, what
  // its first section tells comes first.  kNoRecord, kSyntax, kNoReplacement or
  // kInvalid, with its line, for what cannot be used.
  int Load(const std::string& path, const CPlace& given, bool isBase);

  // A creation file that is read as this one.
  std::string Text() const;

  // That of the text.
  std::string Fingerprint() const;
};

}  // namespace KivDB

#endif  // UPGRADE_SHIPPED_H_
