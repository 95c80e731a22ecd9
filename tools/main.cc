// kivdb: the tables of a database, from a shell.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <new>

#include "command_line.h"

namespace {

using tool::CContext;
using tool::CEnd;
using tool::COutput;
using tool::CReport;
using tool::CRun;

// A file that is opened later must not become a standard stream.  Tells whether
// standard output was closed.
bool OpenClosedStreams() {
  bool wasOutputClosed = false;
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(fd, F_GETFD) >= 0 || errno != EBADF) continue;
    if (fd == STDOUT_FILENO) wasOutputClosed = true;
    // The lowest free number, which is this one.
    if (open("/dev/null", O_RDWR) < 0) _exit(2);
  }
  return wasOutputClosed;
}

void RunCommand(int argc, char** argv, COutput& out, CReport& report) {
  const CRun run = tool::ParseCommandLine(argc, argv);
  tool::TakeLibraryLog(run.globals.isVerbose);
  if (run.globals.isQuiet) {
    report.SetQuiet();
    out.Hold();
  }
  run.command(CContext{run.globals, out, report});
}

void Run(int argc, char** argv, COutput& out, CReport& report) {
  try {
    RunCommand(argc, argv, out, report);
  } catch (const CEnd& end) {
    report.Say(end);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    report.Trouble("", error.what());
  }
}

// To say that there is no memory must not need any.
template <typename Body>
void Guard(CReport& report, Body body) {
  try {
    body();
  } catch (const std::bad_alloc&) {
    report.NoMemory();
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bool wasOutputClosed = OpenClosedStreams();
  signal(SIGPIPE, SIG_IGN);
  COutput out(wasOutputClosed);
  CReport report;
  Guard(report, [&] { Run(argc, argv, out, report); });
  Guard(report, [&] { out.Finish(report); });
  return static_cast<int>(report.verdict());
}
