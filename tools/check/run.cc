// Reporting, beside the progress.

#include "check/run.h"

#include "check/names.h"

namespace tool {

void CCheckRun::Add(const CFinding& finding) {
  progress.Erase();
  findings.Add(finding);
}

void CCheckRun::AddAllocation(const std::string& table,
                              const std::string& entry) {
  const auto id = ExhaustingId(entry.c_str());
  if (!id) return;
  Add({Severity::kWarning, "allocation", table, entry,
       "counts as the highest id, " + std::to_string(*id)});
}

}  // namespace tool
