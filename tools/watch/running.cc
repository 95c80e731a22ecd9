// A command for each change.

#include <utility>

#include "process.h"
#include "watch/listener.h"

namespace tool {
namespace {

class CRunner : public CListener {
 public:
  CRunner(const CContext& context, std::vector<std::string> command,
          const sigset_t& held)
      : m_report(context.report) {
    m_program.words = std::move(command);
    m_program.hasInput = false;
    m_program.held = held;
    sigaddset(&m_program.defaults, SIGPIPE);
  }

  void Take(const CSeen& seen) override {
    m_program.variables = {"KIVDB_TABLE=" + seen.table, "KIVDB_ID=" + seen.id,
                           std::string("KIVDB_CHANGE=") + seen.change};
    int status = 0;
    const int error = RunProgram(m_program, status);
    if (error == 0) return;
    m_report.Tell(m_program.words.front(), WithError("cannot run", error));
  }

  bool Prints() const override { return false; }

 private:
  const CReport& m_report;
  CProgram m_program;
};

}  // namespace

std::unique_ptr<CListener> MakeRunner(const CContext& context,
                                      std::vector<std::string> command,
                                      const sigset_t& held) {
  return std::make_unique<CRunner>(context, std::move(command), held);
}

}  // namespace tool
