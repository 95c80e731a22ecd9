// What check says about an entry of a database.

#ifndef TOOLS_CHECK_FINDING_H_
#define TOOLS_CHECK_FINDING_H_

#include <memory>
#include <string>

#include "context.h"
#include "formats/format.h"

namespace tool {

enum class Severity { kWarning, kError };

struct CFinding {
  Severity severity;
  std::string word;
  std::string table;
  std::string entry;  // empty: the table itself
  std::string text;
  std::string repair = "none";  // what a repair would do, or what it did
  bool isRepaired = false;
};

// Prints findings as they come; those that stay make the answer no.
class CFindings {
 public:
  explicit CFindings(const CContext& context);

  void Add(const CFinding& finding);
  void End();

 private:
  CRow MakeRow(const CFinding& finding) const;
  void Begin();

  const CContext& m_context;
  bool m_isForPeople;
  std::unique_ptr<CFormat> m_format;
};

}  // namespace tool

#endif  // TOOLS_CHECK_FINDING_H_
