// The parsed form of one ini file.

#ifndef PLATFORM_STANDIN_INI_FILE_H_
#define PLATFORM_STANDIN_INI_FILE_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// The sections and values of an ini file, which do not change once it is
// loaded: any number of threads may read one object.  Every text that it gives
// out points into the object.
class CIniFile {
 public:
  CIniFile() = default;
  CIniFile(const CIniFile&) = delete;
  CIniFile& operator=(const CIniFile&) = delete;

  // Reads the descriptor to its end; size is the expected number of bytes.
  // False, with errno set, when a read fails, when there are more bytes than
  // an int counts (EFBIG), and for what is no ini file (EINVAL): a section
  // header without "]" or without a name, or a NUL byte anywhere.  May throw
  // std::bad_alloc; an object whose loading failed is of no further use.
  bool Load(int fd, size_t size);

  // The value of key in section, or null.
  const std::string_view* Find(std::string_view section,
                               std::string_view key) const;

  // Every section's name, once, in file order.
  const std::vector<std::string_view>& Sections() const { return m_names; }

 private:
  using CValues = std::unordered_map<std::string_view, std::string_view>;

  bool Parse();
  CValues* EnterSection(std::string_view line);

  std::string m_text;
  std::vector<std::string_view> m_names;
  std::unordered_map<std::string_view, CValues> m_sections;
};

#endif  // PLATFORM_STANDIN_INI_FILE_H_
