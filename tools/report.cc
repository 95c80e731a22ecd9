// Lines, statuses and the library's log.

#include "report.h"

#include <kivdb/status.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "printable.h"
#ifdef KIVDB_TOOL_SINK
#include <zel_control.h>
#endif

namespace tool {
namespace {

void Write(std::string_view text) {
  // There is nowhere to say that it failed.
  [[maybe_unused]] const ssize_t written =
      write(STDERR_FILENO, text.data(), text.size());
}

void WriteLine(const std::string& where, const std::string& what) {
  std::string line = "kivdb: ";
  if (!where.empty()) line += Printable(where) + ": ";
  line += Printable(what) + "\n";
  Write(line);
}

#ifdef KIVDB_TOOL_SINK
std::string lastError;
bool isVerbose = false;

void Sink(ZelLevel level, int code, const char* text) {
  // The library does not expect an exception.
  try {
    if (level == ZelLevel::kError) lastError = text;
    if (isVerbose) WriteLine("log " + std::to_string(code), text);
  } catch (const std::bad_alloc&) {
    lastError.clear();
  }
}
#endif

}  // namespace

CEnd::CEnd(Verdict verdict, std::string where, std::string what)
    : m_verdict(verdict), m_where(std::move(where)), m_what(std::move(what)) {}

void EndNo(const std::string& where, const std::string& what) {
  throw CEnd(Verdict::kNo, where, what);
}

void EndTrouble(const std::string& where, const std::string& what) {
  throw CEnd(Verdict::kTrouble, where, what);
}

std::string WithError(const std::string& what, int error) {
  return what + ": " + strerror(error);
}

void EndUsage(const std::string& where, const std::string& what) {
  throw CWrongUsage(where, what);
}

void CReport::No(const std::string& where, const std::string& what) {
  Say(CEnd(Verdict::kNo, where, what));
}

void CReport::Trouble(const std::string& where, const std::string& what) {
  Say(CEnd(Verdict::kTrouble, where, what));
}

void CReport::Say(const CEnd& end) {
  Raise(end.verdict());
  const std::string what = end.what();
  if (what.empty() || (m_isQuiet && end.verdict() == Verdict::kNo)) return;
  Tell(end.where(), what);
}

void CReport::NoMemory() {
  Raise(Verdict::kTrouble);
  Write("kivdb: no memory\n");
}

void CReport::Note(const std::string& where, const std::string& what) const {
  if (!m_isQuiet) Tell(where, what);
}

void CReport::Tell(const std::string& where, const std::string& what) const {
  const bool isBoth = !m_place.empty() && !where.empty();
  WriteLine(m_place + (isBoth ? ": " : "") + where, what);
}

void CReport::Raise(Verdict verdict) {
  m_verdict = std::max(m_verdict, verdict);
}

void TakeLibraryLog(bool verbose) {
#ifdef KIVDB_TOOL_SINK
  isVerbose = verbose;
  ZelSetSink(Sink);
#else
  static_cast<void>(verbose);  // the host's own layer shows them
#endif
}

std::string ReasonOf(int status) {
#ifdef KIVDB_TOOL_SINK
  if (!lastError.empty()) return std::exchange(lastError, {});
#endif
  return KivDB::StatusText(status);
}

}  // namespace tool
