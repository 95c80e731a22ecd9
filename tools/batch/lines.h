// The lines of a batch as words.

#ifndef TOOLS_BATCH_LINES_H_
#define TOOLS_BATCH_LINES_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

struct CBatchLine {
  std::size_t line;                // where its first word begins, from 1
  std::vector<std::string> words;  // one at least
};

// Takes a text apart as a shell does, but expands nothing: '...', "...", a
// backslash before any character and at the end of a line, and as comments
// lines that begin with "#".  Ends the command with kNo and FILE:LINE for a
// quote without end, a backslash before nothing and a byte 0.
std::vector<CBatchLine> SplitBatch(const std::string& file,
                                   std::string_view text);

}  // namespace tool

#endif  // TOOLS_BATCH_LINES_H_
