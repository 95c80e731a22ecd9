// Forcing to disk, and what must not be interrupted.

#ifndef TOOLS_DISK_H_
#define TOOLS_DISK_H_

#include <sys/types.h>

#include <csignal>
#include <string>
#include <string_view>

namespace tool {

// The directory that the path stands in.
std::string ParentOf(const std::string& path);

// Force a directory, or a file, to disk; end the command when they cannot.
void SyncDirectory(const std::string& path);
void SyncFile(const std::string& path);

// Writes all of the text to an open file; false, with errno set, when it
// cannot.
bool WriteAll(int file, std::string_view text);

// Renames without replacing: false, with EEXIST, where the name is taken.  On a
// file system that cannot refuse to replace, the caller sees to it that nobody
// else makes entries there.
bool RenameNew(const std::string& from, const std::string& to);

// Gives the file this content: written beside it as PATH.tmp, then renamed over
// it, all of it on disk.  Ends the command when it cannot, with the file as it
// was.
void ReplaceFile(const std::string& path, std::string_view content,
                 mode_t mode);

// The signals that end a run.
constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};
sigset_t EndSignals();

// Holds them off while it lives, so that a change is done
// or not begun when one of them ends the process.
class CSignalHold {
 public:
  CSignalHold();
  ~CSignalHold();
  CSignalHold(const CSignalHold&) = delete;
  CSignalHold& operator=(const CSignalHold&) = delete;

  // Whether one of them waits to end the process.
  bool IsPending() const;

 private:
  sigset_t m_before;
};

}  // namespace tool

#endif  // TOOLS_DISK_H_
