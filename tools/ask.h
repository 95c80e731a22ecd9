// Questions to a person.

#ifndef TOOLS_ASK_H_
#define TOOLS_ASK_H_

#include <string>

#include "context.h"

namespace tool {

// Whether a person can be asked: input and errors are a terminal's, and the run
// is not quiet.
bool CanAsk(const CContext& context);

// Asks on standard error and gives the answer's first letter, lower case, 0 for
// an empty line, or 'n' where no answer comes.
char Ask(const std::string& question);

// Goes on only when force is set or a person says yes; ends the command with
// kTrouble where nobody can be asked, with kNo where the answer is no.
void RequireConsent(const CContext& context, bool isForced,
                    const std::string& where, const std::string& question);

}  // namespace tool

#endif  // TOOLS_ASK_H_
