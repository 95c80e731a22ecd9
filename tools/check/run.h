// What the parts of one check share.

#ifndef TOOLS_CHECK_RUN_H_
#define TOOLS_CHECK_RUN_H_

#include <string>

#include "check/finding.h"
#include "check/repair.h"
#include "context.h"
#include "progress.h"
#include "store.h"

namespace tool {

struct CCheckRun {
  CCheckRun(const CContext& runContext, const CStore& runStore,
            const CCheckOptions& options)
      : context(runContext),
        store(runStore),
        findings(runContext),
        repair(runContext, runStore, options),
        progress(runContext.globals) {}

  void Add(const CFinding& finding);

  // For an entry that stays: whether its name exhausts the ids.
  void AddAllocation(const std::string& table, const std::string& entry);

  const CContext& context;
  const CStore& store;
  CFindings findings;
  CRepair repair;
  CProgress progress;
};

}  // namespace tool

#endif  // TOOLS_CHECK_RUN_H_
