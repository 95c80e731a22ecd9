// A table as it is found: its schema and its directory.

#ifndef TOOLS_CHECK_TABLE_STATE_H_
#define TOOLS_CHECK_TABLE_STATE_H_

#include <string>

#include "descriptor.h"
#include "schema.h"
#include "store.h"

namespace tool {

struct CTableState {
  std::string name;

  bool hasSchema = false;       // an entry in the schema directory
  bool isSchemaLinked = false;  // the schema directory is a link
  int schemaError = 0;          // why it cannot be read
  CSchema schema;
  bool isLeftover = false;  // by its name

  bool hasDirectory = false;  // an entry in the directory of tables
  int directoryError = 0;     // why it cannot be opened
  CDescriptor directory;
  bool isEmpty = false;
  bool isLinked = false;  // reached through a link

  bool IsUnusable() const { return schemaError != 0 || schema.columns.empty(); }

  // Columns cannot be trusted.
  bool HasSchemaError() const;

  // The first name that a column before has, too.
  std::string ColumnTwice() const;

  // Why nothing in the directory may be touched, or nothing.
  std::string Obstacle() const;

  // The same for the schema, which may go when no entry depends on it.
  std::string SchemaObstacle() const;
};

CTableState LookAt(const CStore& store, const std::string& table);

}  // namespace tool

#endif  // TOOLS_CHECK_TABLE_STATE_H_
