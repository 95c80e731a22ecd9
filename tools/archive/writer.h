// Writing a tar archive.

#ifndef TOOLS_ARCHIVE_WRITER_H_
#define TOOLS_ARCHIVE_WRITER_H_

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "archive/entry.h"

namespace tool {

// Each operation ends the command when it fails.  An archive that is not
// finished has no end, so that nobody takes it for a whole one.
class CArchiveWriter {
 public:
  // Takes the next bytes of the archive; false, with errno set, when it cannot.
  using Sink = std::function<bool(std::string_view bytes)>;

  // The name is that for messages.
  CArchiveWriter(std::string name, Sink sink);
  ~CArchiveWriter();
  CArchiveWriter(const CArchiveWriter&) = delete;
  CArchiveWriter& operator=(const CArchiveWriter&) = delete;

  // The entry's size is that of the content.
  void Write(const CArchiveEntry& entry, std::string_view content);
  void Finish();

  const CArchiveSum& sum() const { return m_sum; }

 private:
  struct Free {
    void operator()(archive* archive) const;
  };
  struct CCallback;

  void Require(bool isDone, const std::string& what) const;

  std::string m_name;
  Sink m_sink;
  int m_error = 0;  // what comes after it goes nowhere
  CArchiveSum m_sum;
  std::unique_ptr<archive, Free> m_archive;
};

}  // namespace tool

#endif  // TOOLS_ARCHIVE_WRITER_H_
