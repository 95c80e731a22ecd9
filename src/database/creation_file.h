// What the ini files that describe tables hold.

#ifndef DATABASE_CREATION_FILE_H_
#define DATABASE_CREATION_FILE_H_

#include "core/text.h"
#include "zel.h"

namespace KivDB {

// Reads the schema line of a table's section; false when there is none.
inline bool ReadSchemaValue(const char* section, const char* inifile,
                            char (&schema)[kValueSize]) {
  return InifileGetValueA(section, "schema", schema, sizeof(schema), nullptr,
                          inifile) >= 1;
}

}  // namespace KivDB

#endif  // DATABASE_CREATION_FILE_H_
