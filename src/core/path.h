// Paths in buffers of a fixed size.

#ifndef CORE_PATH_H_
#define CORE_PATH_H_

#include <cstddef>

#include "core/format.h"

namespace KivDB {

// A path, silently cut to kPathBound.
class CPath {
 public:
  // Joins the pieces with "/", whatever they end or begin with.
  template <typename... Pieces>
  explicit CPath(const char* first, Pieces... rest) {
    m_text[0] = '\0';
    Append(first);
    (AppendComponent(rest), ...);
  }

  // Appends to the last component.
  void Append(const char* text);

  // Takes the last component away; "." stands for nothing left.
  void ToParent();

  const char* text() const { return m_text; }

  // Whether the path is not the one that was asked for.
  bool IsCut() const { return m_isCut; }

 private:
  void AppendComponent(const char* component) {
    Append("/");
    Append(component);
  }

  std::size_t m_length = 0;
  bool m_isCut = false;
  char m_text[kPathSize];
};

// Whether the text names an entry of a directory and cannot lead out of it.
bool IsPathComponent(const char* name);

// The directory of a table; empty for a name that cannot be that of one.
CPath TablePath(const char* root, const char* name);

// Whether the id is that of a record in the table directory: not without a
// directory, not out of it, and not when the path would be cut, perhaps to that
// of another record.
bool NamesRecord(const char* directory, const char* id);

// The file of a record.  Where it is none, only log lines use the path.
class CRecordPath : public CPath {
 public:
  CRecordPath(const char* directory, const char* id)
      : CPath(directory, id), m_isRecord(NamesRecord(directory, id)) {}

  bool IsRecord() const { return m_isRecord; }

 private:
  bool m_isRecord;
};

}  // namespace KivDB

#endif  // CORE_PATH_H_
