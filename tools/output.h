// Standard output, whose errors are not lost.

#ifndef TOOLS_OUTPUT_H_
#define TOOLS_OUTPUT_H_

#include <string>
#include <string_view>

#include "report.h"

namespace tool {

// Data, gathered into large writes.  The first error is kept, what is written
// after it is dropped, and Finish tells it.
class COutput {
 public:
  // A stream that was closed before the program began takes nothing.
  explicit COutput(bool isClosed) : m_isClosed(isClosed) {}

  // Keeps all until Finish, which drops it when the answer is no.
  void Hold() { m_isHeld = true; }

  // From here on what is flushed is written, held or not, and waits for its
  // reader only until the descriptor can be read: the rest is then dropped.
  // -1 ends that.
  void Stream(int stop);

  void Write(std::string_view text);

  // Writes what is gathered, so that it can be seen.
  void Flush();

  // Whether there is no use in writing more.
  bool IsBroken() const { return m_error != 0; }

  bool IsTerminal() const;

  // Writes the rest and reports an error, but for a pipe that nobody reads.
  void Finish(CReport& report);

 private:
  bool WaitForReader() const;

  std::string m_text;
  bool m_isClosed;
  bool m_isHeld = false;
  int m_stop = -1;
  int m_error = 0;
};

}  // namespace tool

#endif  // TOOLS_OUTPUT_H_
