// Commands on records, checked before they are done: alone or in a batch.

#ifndef TOOLS_PLAN_H_
#define TOOLS_PLAN_H_

#include <optional>
#include <string>
#include <variant>

#include "change.h"
#include "commands.h"
#include "context.h"
#include "draft.h"
#include "removed.h"

namespace tool {

using CChangeOptions = std::variant<CAddOptions, CSetOptions, CDeleteOptions>;

// What such a command is to do.
struct CPlan {
  std::optional<CRecordWrite> write;
  Texts deleted;
  std::string result;  // what it prints when it is done
};

// Check a command against the draft.  Each ends the command where it cannot be
// done.
CPlan Plan(const CContext& context, CDraft& draft, const CAddOptions& options);
CPlan Plan(const CContext& context, CDraft& draft, const CSetOptions& options);
CPlan Plan(const CContext& context, CDraft& draft,
           const CDeleteOptions& options);

// Any of them; puts what it does into the draft.
CPlan PlanInto(const CContext& context, CDraft& draft,
               const CChangeOptions& options);

// Ends the command unless the options tell which records to delete.
void RequireChoice(const CDeleteOptions& options);

// Makes the changes.  Ends the command when one fails.
void CarryOut(const CPlan& plan, CChange& change, CRemoved& removed);

// Checks the command and does it, or prints what it would change.
void RunAlone(const CContext& context, const std::string& table,
              const CChangeOptions& options, bool isDryRun);

}  // namespace tool

#endif  // TOOLS_PLAN_H_
