// Reading and parsing of an ini file.

#include "ini_file.h"

#include <unistd.h>

#include <cerrno>
#include <climits>

#include "zel.h"

namespace {

bool IsBlank(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < sizeof zelascii_ctype_table &&
         (zelascii_ctype_table[byte] & kZelWhiteSpace) != 0;
}

// The CR of a line's end is a blank, too.
std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// Takes away the quotes of a value that is one quoted text as a whole.
std::string_view Unquote(std::string_view value) {
  if (value.size() < 2 || value.front() != '"') return value;
  if (value.find('"', 1) != value.size() - 1) return value;
  return value.substr(1, value.size() - 2);
}

bool ReadAll(int fd, size_t size, std::string* text) {
  size_t length = 0;
  text->resize(size + 1);  // the spare byte finds the end without growing
  for (;;) {
    if (length == text->size()) text->resize(2 * length);
    const ssize_t got = read(fd, &(*text)[length], text->size() - length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    length += static_cast<size_t>(got);
    // Every length that is ever handed out then fits an int.
    if (length >= INT_MAX) {
      errno = EFBIG;
      return false;
    }
  }
  text->resize(length);
  return true;
}

}  // namespace

bool CIniFile::Load(int fd, size_t size) {
  if (size >= INT_MAX) {
    errno = EFBIG;
    return false;
  }
  if (!ReadAll(fd, size, &m_text)) return false;
  if (Parse()) return true;
  errno = EINVAL;
  return false;
}

const std::string_view* CIniFile::Find(std::string_view section,
                                       std::string_view key) const {
  const auto values = m_sections.find(section);
  if (values == m_sections.end()) return nullptr;
  const auto value = values->second.find(key);
  return value == values->second.end() ? nullptr : &value->second;
}

bool CIniFile::Parse() {
  // Results are NUL-terminated texts, which cannot hold one.
  if (m_text.find('\0') != std::string::npos) return false;

  CValues* values = nullptr;
  std::string_view rest = m_text;
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (rest.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    rest.remove_prefix(kByteOrderMark.size());
  }
  while (!rest.empty()) {
    const size_t end = rest.find('\n');
    const std::string_view line = Trim(rest.substr(0, end));
    rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);

    if (line.empty() || line.front() == ';' || line.front() == '#') continue;
    if (line.front() == '[') {
      values = EnterSection(line);
      if (values == nullptr) return false;
      continue;
    }
    const size_t equals = line.find('=');
    if (values == nullptr || equals == line.npos) continue;
    // Keeps the value that is there already: the first one counts.
    values->try_emplace(Trim(line.substr(0, equals)),
                        Unquote(Trim(line.substr(equals + 1))));
  }
  return true;
}

// Returns the values of the section that the header names, new or not, or null
// for a malformed header.
CIniFile::CValues* CIniFile::EnterSection(std::string_view line) {
  const size_t end = line.find(']');
  if (end == line.npos) return nullptr;
  const std::string_view name = Trim(line.substr(1, end - 1));
  if (name.empty()) return nullptr;
  const auto [section, is_new] = m_sections.try_emplace(name);
  if (is_new) m_names.push_back(name);
  return &section->second;
}
