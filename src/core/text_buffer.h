// A growing text.

#ifndef CORE_TEXT_BUFFER_H_
#define CORE_TEXT_BUFFER_H_

#include <cstddef>

namespace KivDB {

// A NUL-terminated text that grows.  It begins in the object itself, so that
// the usual short one costs no allocation; a longer one moves to the heap.
// Growing throws std::bad_alloc, which leaves the text.
class CTextBuffer {
 public:
  CTextBuffer() { m_inline[0] = '\0'; }
  ~CTextBuffer();
  CTextBuffer(const CTextBuffer&) = delete;
  CTextBuffer& operator=(const CTextBuffer&) = delete;

  char* data() { return m_data; }
  const char* data() const { return m_data; }
  std::size_t size() const { return m_size; }

  // Bytes that can be written behind the text without growing.
  std::size_t room() const { return m_capacity - 1 - m_size; }

  // Makes room for at least this many bytes behind the text.
  void Reserve(std::size_t more);

  // Appends bytes, or a text up to its NUL.
  void Append(const char* bytes, std::size_t length);
  void Append(const char* text);

  // Sets the size, not over what was reserved, and ends the text there.
  void Resize(std::size_t size);

 private:
  static constexpr std::size_t kInlineSize = 4096;

  char m_inline[kInlineSize];
  char* m_data = m_inline;
  std::size_t m_size = 0;
  std::size_t m_capacity = kInlineSize;
};

}  // namespace KivDB

#endif  // CORE_TEXT_BUFFER_H_
