// Where a database keeps its files.

#ifndef CORE_PATH_H_
#define CORE_PATH_H_

#include <cstddef>

namespace KivDB {

// Path buffers, and the bound that paths are cut to, terminator included.
constexpr std::size_t kPathSize = 4096;
constexpr std::size_t kPathBound = 4095;

// Below the root: one directory with a directory per table, and one with a
// schema file per table.
constexpr char kTopDirectory[] = "kiv";
constexpr char kDataDirectory[] = "kiv/database";
constexpr char kSchemaDirectory[] = "kiv/schema";

// A path, silently cut to kPathBound.
class CPath {
 public:
  // Joins the pieces with "/", whatever they end or begin with.
  template <typename... Pieces>
  explicit CPath(const char* first, Pieces... rest) {
    Append(first);
    (AppendComponent(rest), ...);
  }

  // Appends to the last component.
  void Append(const char* text);

  const char* text() const { return m_text; }

 private:
  void AppendComponent(const char* component) {
    Append("/");
    Append(component);
  }

  std::size_t m_length = 0;
  char m_text[kPathSize];
};

}  // namespace KivDB

#endif  // CORE_PATH_H_
