// Asking on a terminal.

#include "ask.h"

#include <unistd.h>

#include <cctype>

#include "printable.h"
#include "report.h"

namespace tool {

bool CanAsk(const CContext& context) {
  return !context.globals.isQuiet && isatty(STDIN_FILENO) == 1 &&
         isatty(STDERR_FILENO) == 1;
}

char Ask(const std::string& question) {
  const std::string text = Printable(question) + " ";
  [[maybe_unused]] const ssize_t written =
      write(STDERR_FILENO, text.data(), text.size());
  char first = '\0';
  char c = '\0';
  while (c != '\n') {
    if (read(STDIN_FILENO, &c, 1) != 1) return 'n';
    if (first == '\0' && c != '\n') first = c;
  }
  return static_cast<char>(std::tolower(static_cast<unsigned char>(first)));
}

void RequireConsent(const CContext& context, bool isForced,
                    const std::string& where, const std::string& question) {
  if (isForced) return;
  if (!CanAsk(context)) {
    EndTrouble(where, "needs --force where nobody can be asked");
  }
  if (Ask(question + " [y/N]") != 'y') EndNo(where, "left as it is");
}

}  // namespace tool
