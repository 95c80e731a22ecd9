// Building paths, and what is none.

#include "core/path.h"

#include <cstring>

#include "zel.h"

namespace KivDB {

void CPath::Append(const char* text) {
  zelstrcpy(m_text + m_length, text, kPathBound - m_length);
  const std::size_t taken = std::strlen(m_text + m_length);
  m_length += taken;
  m_isCut = m_isCut || text[taken] != '\0';
}

void CPath::ToParent() {
  while (m_length > 0 && m_text[m_length - 1] == '/') --m_length;
  while (m_length > 0 && m_text[m_length - 1] != '/') --m_length;
  m_text[m_length] = '\0';
  if (m_length == 0) Append(".");
}

bool IsPathComponent(const char* name) {
  return *name != '\0' && std::strcmp(name, ".") != 0 &&
         std::strcmp(name, "..") != 0 && std::strchr(name, '/') == nullptr;
}

CPath TablePath(const char* root, const char* name) {
  return IsPathComponent(name) ? CPath(root, kDataDirectory, name) : CPath("");
}

bool NamesRecord(const char* directory, const char* id) {
  const std::size_t length = std::strlen(directory);
  return length > 0 && length + 1 + std::strlen(id) < kPathBound &&
         IsPathComponent(id);
}

}  // namespace KivDB
