// watch: every change as it happens.

#include "commands.h"
#include "watch/watcher.h"

namespace tool {
namespace {

// Prints at once, for as long as the signals have not come.
class CStreaming {
 public:
  CStreaming(COutput& out, const CEndSignals& signals) : m_out(out) {
    m_out.Stream(signals.descriptor());
  }
  ~CStreaming() { m_out.Stream(-1); }
  CStreaming(const CStreaming&) = delete;
  CStreaming& operator=(const CStreaming&) = delete;

 private:
  COutput& m_out;
};

}  // namespace

void Watch(const CContext& context, const CWatchOptions& options) {
  const CEndSignals signals;
  const CStreaming streaming(context.out, signals);
  const auto listener =
      options.command.empty()
          ? MakePrinter(context)
          : MakeRunner(context, options.command, signals.before());
  CWatcher(context, options.tables, signals, *listener).Run();
  context.out.Flush();
}

}  // namespace tool
