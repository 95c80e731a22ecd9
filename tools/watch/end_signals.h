// The signals that end the command in good order.

#ifndef TOOLS_WATCH_END_SIGNALS_H_
#define TOOLS_WATCH_END_SIGNALS_H_

#include <csignal>

#include "descriptor.h"

namespace tool {

// From here to the end of the process SIGINT and SIGTERM, and SIGHUP where it
// is not ignored, only make the descriptor readable.
class CEndSignals {
 public:
  CEndSignals();

  int descriptor() const { return m_signals.get(); }
  bool HasCome() const;

  // The signals that were held before.
  const sigset_t& before() const { return m_before; }

 private:
  sigset_t m_before{};
  CDescriptor m_signals;
};

}  // namespace tool

#endif  // TOOLS_WATCH_END_SIGNALS_H_
