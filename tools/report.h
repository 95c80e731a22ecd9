// What a run says besides its data, and the status that it ends with.

#ifndef TOOLS_REPORT_H_
#define TOOLS_REPORT_H_

#include <exception>
#include <string>
#include <utility>

namespace tool {

// The exit status; the highest of a run counts.
enum class Verdict {
  kDone = 0,
  kNo = 1,       // the answer is no: missing, there already, findings, refused
  kTrouble = 2,  // wrong usage, no database, unreadable, a failed write
};

// Ends a command that cannot go on; what was done before stays.
class CEnd : public std::exception {
 public:
  CEnd(Verdict verdict, std::string where, std::string what);
  const char* what() const noexcept override { return m_what.c_str(); }
  const std::string& where() const { return m_where; }
  Verdict verdict() const { return m_verdict; }

 private:
  Verdict m_verdict;
  std::string m_where;
  std::string m_what;
};

// Wrong usage: of a command kTrouble, of a line of a batch kNo.
class CWrongUsage : public CEnd {
 public:
  CWrongUsage(std::string where, std::string what)
      : CEnd(Verdict::kTrouble, std::move(where), std::move(what)) {}
};

// where is the TABLE, the TABLE/ID or the FILE:LINE that it is about, or empty.
[[noreturn]] void EndNo(const std::string& where, const std::string& what);
[[noreturn]] void EndTrouble(const std::string& where, const std::string& what);
[[noreturn]] void EndUsage(const std::string& where, const std::string& what);

// "WHAT: the text of the error number".
std::string WithError(const std::string& what, int error);

// The lines on standard error, "kivdb: WHERE: WHAT", made safe to print.
class CReport {
 public:
  // Quiet: no line for a kNo, and no notes.
  void SetQuiet() { m_isQuiet = true; }

  // What is said from here on is about this FILE:LINE, unless it is empty.
  void SetPlace(const std::string& place) { m_place = place; }

  void No(const std::string& where, const std::string& what);
  void Trouble(const std::string& where, const std::string& what);
  void Say(const CEnd& end);
  void NoMemory();

  // A line that says nothing about the status; Tell's is never left out.
  void Note(const std::string& where, const std::string& what) const;
  void Tell(const std::string& where, const std::string& what) const;

  void Raise(Verdict verdict);
  Verdict verdict() const { return m_verdict; }

 private:
  Verdict m_verdict = Verdict::kDone;
  bool m_isQuiet = false;
  std::string m_place;
};

// Takes the library's log lines off standard error; verbose shows them.
void TakeLibraryLog(bool verbose);

// Why an operation of the library failed: its last error line, or else the
// words for its status.
std::string ReasonOf(int status);

}  // namespace tool

#endif  // TOOLS_REPORT_H_
