// Where a record is read from.

#ifndef TABLE_SOURCE_H_
#define TABLE_SOURCE_H_

namespace KivDB {

enum class Source {
  kPath,    // by its path
  kCursor,  // an entry that the table's cursor has delivered
  kChange,  // by its path, with the table locked
};

}  // namespace KivDB

#endif  // TABLE_SOURCE_H_
