// Printing findings.

#include "check/finding.h"

#include <utility>

namespace tool {

CFindings::CFindings(const CContext& context)
    : m_context(context), m_isForPeople(context.globals.format == "table") {
  // People need no header above nothing.
  if (!m_isForPeople) Begin();
}

void CFindings::Begin() {
  std::vector<CField> fields = {{"severity"}, {"table"}, {"entry"},
                                {"finding"},  {"text"},  {"repair"}};
  if (m_isForPeople) fields.erase(fields.begin() + 1);
  m_format = MakeFormat(m_context, std::move(fields));
  m_format->Stream();
}

CRow CFindings::MakeRow(const CFinding& finding) const {
  const std::string severity =
      finding.severity == Severity::kError ? "error" : "warning";
  CRow row;
  row.id = finding.table + (finding.entry.empty() ? "" : "/") + finding.entry;
  row.raw = severity + "\t" + finding.word + "\t" + finding.text + "\t" +
            finding.repair;
  row.cells = {severity};
  if (m_isForPeople) {
    row.cells.emplace_back(row.id);
  } else {
    row.cells.emplace_back(finding.table);
    row.cells.emplace_back();
    if (!finding.entry.empty()) row.cells.back() = finding.entry;
  }
  row.cells.insert(row.cells.end(),
                   {finding.word, finding.text, finding.repair});
  return row;
}

void CFindings::Add(const CFinding& finding) {
  if (!finding.isRepaired) m_context.report.Raise(Verdict::kNo);
  if (!m_format) Begin();
  m_format->Add(MakeRow(finding));
}

void CFindings::End() {
  if (m_format) m_format->End();
}

}  // namespace tool
