// Where a database keeps its files.

#include "core/path.h"

#include <cstring>

#include "zel.h"

namespace KivDB {

void CPath::Append(const char* text) {
  zelstrcpy(m_text + m_length, text, kPathBound - m_length);
  m_length += std::strlen(m_text + m_length);
}

}  // namespace KivDB
