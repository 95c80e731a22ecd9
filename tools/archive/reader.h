// Reading a tar archive, as a stream.

#ifndef TOOLS_ARCHIVE_READER_H_
#define TOOLS_ARCHIVE_READER_H_

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "archive/entry.h"

namespace tool {

// Each operation ends the command for what is no tar archive, or not whole.
class CArchiveReader {
 public:
  // The file is open and stays the caller's.  The name is that for messages.
  CArchiveReader(int file, std::string name);
  CArchiveReader(const CArchiveReader&) = delete;
  CArchiveReader& operator=(const CArchiveReader&) = delete;

  // The next entry, or false when the whole archive was read with its end.
  bool Next();
  const CArchiveEntry& entry() const { return m_entry; }

  // Visits the pieces of the entry's content.  Ends the command for a sparse
  // file, whose holes could be of any size.
  void ReadContent(const std::function<void(std::string_view piece)>& visit);

  const std::string& name() const { return m_name; }

 private:
  struct Free {
    void operator()(archive* archive) const;
  };
  struct CCallback;

  // Bytes from the file into the buffer: their number, or -1 with errno set.
  std::ptrdiff_t ReadPiece();
  void RequireEnd();
  [[noreturn]] void EndSparse() const;

  int m_file;
  std::string m_name;
  CArchiveEntry m_entry;
  std::array<char, std::size_t{64} * 1024> m_buffer{};
  std::int64_t m_size = 0;   // of what was read from the file
  std::int64_t m_zeros = 0;  // the zero bytes at the end of that
  std::unique_ptr<archive, Free> m_archive;
};

}  // namespace tool

#endif  // TOOLS_ARCHIVE_READER_H_
