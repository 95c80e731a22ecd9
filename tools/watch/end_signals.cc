// Taking signals as something to read.

#include "watch/end_signals.h"

#include <poll.h>
#include <sys/signalfd.h>

#include <cerrno>

#include "disk.h"
#include "report.h"

namespace tool {

CEndSignals::CEndSignals() {
  sigset_t taken = EndSignals();
  // nohup ignores it, and a blocked signal would come even so.
  struct sigaction action {};
  sigaction(SIGHUP, nullptr, &action);
  if (action.sa_handler == SIG_IGN) sigdelset(&taken, SIGHUP);
  sigprocmask(SIG_BLOCK, &taken, &m_before);
  m_signals = CDescriptor(signalfd(-1, &taken, SFD_CLOEXEC));
  if (!m_signals.isOpen()) EndTrouble("", WithError("cannot watch", errno));
}

bool CEndSignals::HasCome() const {
  pollfd file{descriptor(), POLLIN, 0};
  return poll(&file, 1, 0) > 0;
}

}  // namespace tool
