// Texts of status codes.

#include <kivdb/status.h>

namespace KivDB {

const char* StatusText(int status) {
  switch (status) {
    case -1:
      return "failed";
    case kOk:
      return "ok";
    case kUnknownType:
      return "unknown column type";
    case kNoType:
      return "column without a type";
    case kNoSchema:
      return "no such schema file";
    case kSchemaUnreadable:
      return "schema file cannot be read or written";
    case kEmptySchema:
      return "empty schema";
    case kNotFound:
      return "not found";
    case kRecordUnreadable:
      return "record file cannot be read";
    case kNoSchemaDirectory:
      return "no database";
    case kSyntax:
      return "syntax error";
    case kNoRecord:
      return "no such record";
    case kNoColumn:
      return "no such column";
    case kNotEmpty:
      return "table not empty";
    case kIdAboveMaximum:
      return "next id above the maximum";
    case kBadRecord:
      return "unusable record";
    case kNotClearable:
      return "table directory cannot be opened";
    case kNoMemory:
      return "no memory";
    case kNoReplacement:
      return "placeholder cannot be replaced";
    case kInvalid:
      return "bad argument, no lock, or not saved";
    default:
      return "unknown status";
  }
}

}  // namespace KivDB
