// Questions to a person.

#ifndef TOOLS_ASK_H_
#define TOOLS_ASK_H_

#include <string>

namespace tool {

// Whether a person can be asked: input and errors are a terminal's.
bool CanAsk();

// Asks on standard error and gives the answer's first letter, lower case, or 0
// for an empty line or none.
char Ask(const std::string& question);

// Goes on only when force is set or a person says yes; ends the command with
// kTrouble where nobody can be asked, with kNo where the answer is no.
void RequireConsent(bool isForced, const std::string& where,
                    const std::string& question);

}  // namespace tool

#endif  // TOOLS_ASK_H_
