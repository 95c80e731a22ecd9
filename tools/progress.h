// How far a long run has come.

#ifndef TOOLS_PROGRESS_H_
#define TOOLS_PROGRESS_H_

#include <cstddef>
#include <ctime>
#include <string>

#include "context.h"

namespace tool {

// A line on a terminal, from the first second of a table on.
class CProgress {
 public:
  explicit CProgress(const CGlobals& globals);
  ~CProgress() { Erase(); }
  CProgress(const CProgress&) = delete;
  CProgress& operator=(const CProgress&) = delete;

  // An open directory, whose entries are the steps.
  void Begin(const std::string& what, int directory);
  // Steps of a known number.
  void BeginCounted(const std::string& what, std::size_t total);
  void Step();
  void Erase();

 private:
  void Show();

  bool m_isShown;  // at all
  std::string m_what;
  int m_directory = -1;
  std::size_t m_done = 0;
  std::size_t m_total = 0;  // 0: not counted yet
  std::size_t m_width = 0;  // of the line that stands there
  std::time_t m_next = 0;
};

}  // namespace tool

#endif  // TOOLS_PROGRESS_H_
