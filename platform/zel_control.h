// Controls of the stand-in platform library, for hosts and tests: where the
// log lines go and whether trace lines are written.  KivDB itself uses none.

#ifndef PLATFORM_ZEL_CONTROL_H_
#define PLATFORM_ZEL_CONTROL_H_

#include "zel.h"

enum class ZelLevel { kError, kInfo, kTrace };

// Receives one line: its level, its code (0 for a trace line) and its text
// without a line end, which is valid during the call only.  Lines of several
// threads may come at once.
using ZelSink = void (*)(ZelLevel level, int code, const char* text);

// Sends every line to sink from now on; null sends them to standard error
// again, each as one write of "error 20: text", "info 0: text" or
// "trace: text".
ZEL_EXPORT void ZelSetSink(ZelSink sink);

// Switches trace lines on or off; they start off.
ZEL_EXPORT void ZelSetTrace(bool on);

#endif  // PLATFORM_ZEL_CONTROL_H_
