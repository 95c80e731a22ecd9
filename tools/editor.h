// The editor of the user.

#ifndef TOOLS_EDITOR_H_
#define TOOLS_EDITOR_H_

#include <string>

namespace tool {

// The text as it comes back from $VISUAL, $EDITOR or vi, which works on a
// private temporary file.  Ends the command when the editor fails.
std::string RunEditor(const std::string& text);

// Writes the text to a private file that stays, and gives its path.
std::string KeepText(const std::string& text);

}  // namespace tool

#endif  // TOOLS_EDITOR_H_
