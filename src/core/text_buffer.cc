// Growing, to twice the size or more.

#include "core/text_buffer.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace KivDB {

CTextBuffer::~CTextBuffer() {
  if (m_data != m_inline) std::free(m_data);
}

void CTextBuffer::Reserve(std::size_t more) {
  if (more <= room()) return;
  std::size_t capacity = m_capacity * 2;
  if (capacity <= m_size + more) capacity = m_size + more + 1;
  auto* data = static_cast<char*>(
      std::realloc(m_data != m_inline ? m_data : nullptr, capacity));
  if (data == nullptr) throw std::bad_alloc();
  if (m_data == m_inline) std::memcpy(data, m_inline, m_size + 1);
  m_data = data;
  m_capacity = capacity;
}

void CTextBuffer::Append(const char* bytes, std::size_t length) {
  Reserve(length);
  std::memcpy(m_data + m_size, bytes, length);
  Resize(m_size + length);
}

void CTextBuffer::Append(const char* text) { Append(text, std::strlen(text)); }

void CTextBuffer::Resize(std::size_t size) {
  m_size = size;
  m_data[size] = '\0';
}

}  // namespace KivDB
