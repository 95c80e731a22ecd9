// A database, looked at: nothing on disk changes by it, not even a time stamp.

#ifndef TOOLS_STORE_H_
#define TOOLS_STORE_H_

#include <dirent.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "descriptor.h"
#include "schema.h"

namespace tool {

// Opens a file or directory for reading, without waiting for anybody and, where
// that is allowed, without a new access time.  path is below the open directory
// or AT_FDCWD.  Not open, with errno set, when it cannot.
CDescriptor OpenQuietly(int directory, const std::string& path, int flags = 0);

// What a first line was read as; the error number says why there is none.
struct CLine {
  int error = 0;
  std::string text;

  std::string Reason() const;
};

// The first line of a regular file, without its line feed.  EINVAL for what is
// no regular file.
CLine ReadLine(int directory, const std::string& path);

// The whole content, likewise.
CLine ReadWhole(int directory, const std::string& path);

// The rest of an open file that is regular.
CLine ReadRest(int file);

// Calls visit with each entry but the dots, in the order of an open directory,
// without a lock.  visit ends the walk with false.  Gives the error number that
// ended it, or 0.
int WalkEntries(int directory,
                const std::function<bool(const dirent& entry)>& visit);

// Whether a table can have the name: it is that of an entry of a directory.
bool IsComponent(const std::string& name);

// What an entry of a table directory is by its name.
enum class EntryKind { kRecord, kTemporary, kMarker };
EntryKind KindOf(std::string_view name);

enum class EntryType { kNone, kFile, kOther };

// Numbers as numbers, before texts.
bool IdsInOrder(const std::string& a, const std::string& b);

// A record as its file holds it and as it reads.
struct CRecord {
  std::string id;
  std::string line;                 // stored, the first line of the file
  std::vector<std::string> values;  // the id, then as the library reads them
};

// The stored values of a line, as many as it has up to the wanted number.
std::vector<std::string_view> SplitLine(std::string_view line,
                                        std::size_t wanted);

// The bytes of a value that reading keeps.
constexpr std::size_t kValueMax = 2047;

// The value that a stored one reads as.
std::string ReadValue(std::string_view stored);

// The record of a stored line, or why there is none.
std::optional<CRecord> ParseRecord(const CSchema& schema, const std::string& id,
                                   std::string line, std::string& reason);

class CTableReader;

class CStore {
 public:
  // Ends the command where there is no database below the directory.
  explicit CStore(const std::string& root);

  const std::string& root() const { return m_root; }
  std::string PathOf(const std::string& table) const;
  std::string SchemaPathOf(const std::string& table) const;

  // The names of all tables, sorted.
  std::vector<std::string> Tables() const;

  // Ends the command for a name that is none of a table and for a schema
  // without a usable column.
  CSchema Schema(const std::string& table) const;

 private:
  std::string m_root;
};

// One table directory.
class CTableReader {
 public:
  // Ends the command where the table has no usable schema.  The directory may
  // be missing: see IsThere.
  CTableReader(const CStore& store, const std::string& table);

  const std::string& name() const { return m_name; }
  const CSchema& schema() const { return m_schema; }
  bool IsThere() const { return m_directory.isOpen(); }
  int error() const { return m_error; }  // why it is not there
  int directory() const { return m_directory.get(); }

  // Ends the command where the directory is not there or cannot be read.
  void Require() const;

  // From here on this process keeps everybody else from changing the table, and
  // would wait for itself.
  void HoldLocked() { m_isLocked = true; }

  // Calls visit with the name of each entry, in the order of the directory. The
  // first thousand or so are of one moment.  visit ends the walk with false.
  void ForEachName(const std::function<bool(const char* name)>& visit) const;

  // The ids of the records, sorted; all of one moment, unless others change the
  // table for too long.
  std::vector<std::string> Ids() const;

  bool Has(const std::string& name) const;

  // kFile for a link to a regular file, too.
  EntryType TypeOf(const std::string& name) const;

  // The record, or why there is none: an empty reason where it has gone.
  std::optional<CRecord> Read(const std::string& id, std::string& reason) const;

 private:
  template <typename Visit>
  void Walk(Visit visit) const;

  std::string m_name;
  CSchema m_schema;
  CDescriptor m_directory;
  int m_error = 0;
  bool m_isLocked = false;
};

}  // namespace tool

#endif  // TOOLS_STORE_H_
