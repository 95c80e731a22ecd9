// Log and trace lines: to the host's sink, or to standard error.

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "base/cancellation.h"
#include "zel.h"
#include "zel_control.h"

namespace {

constexpr size_t kLineSize = 12288;

std::atomic<ZelSink> sink{nullptr};
std::atomic<bool> trace{false};

// Writes "error 20: " or its like and returns its length.
size_t PutPrefix(ZelLevel level, int code, char* line, size_t size) {
  int length = 0;
  if (level == ZelLevel::kTrace) {
    length = snprintf(line, size, "trace: ");
  } else {
    const char* name = level == ZelLevel::kError ? "error" : "info";
    length = snprintf(line, size, "%s %d: ", name, code);
  }
  return length < 0 ? 0 : static_cast<size_t>(length);
}

ZEL_PRINTF(3, 0)
void PutLine(ZelLevel level, int code, const char* format, va_list arguments) {
  const KivDB::CCancellationHold hold;
  const int error = errno;

  char line[kLineSize];
  const size_t prefix = PutPrefix(level, code, line, sizeof line);
  char* text = line + prefix;
  // The line end takes the place of the terminator.
  const size_t room = sizeof line - prefix;
  *text = '\0';
  // A false alarm of a check that runs over several files.
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
  const int wanted = vsnprintf(text, room, format, arguments);
  size_t length = wanted < 0 ? 0 : static_cast<size_t>(wanted);
  if (length >= room) length = room - 1;

  const ZelSink target = sink.load();
  if (target != nullptr) {
    target(level, code, text);
  } else {
    text[length] = '\n';
    // A line that cannot be written has nowhere else to go.
    [[maybe_unused]] const ssize_t written =
        write(STDERR_FILENO, line, prefix + length + 1);
  }
  errno = error;
}

}  // namespace

void ErrorA(int code, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  PutLine(ZelLevel::kError, code, format, arguments);
  va_end(arguments);
}

void InfoA(int code, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  PutLine(ZelLevel::kInfo, code, format, arguments);
  va_end(arguments);
}

bool TraceOn() { return trace.load(std::memory_order_relaxed); }

// NOLINTNEXTLINE(clang-diagnostic-reserved-identifier): the platform's name
void __Trace(const char* format, ...) {
  if (!TraceOn()) return;
  va_list arguments;
  va_start(arguments, format);
  PutLine(ZelLevel::kTrace, 0, format, arguments);
  va_end(arguments);
}

void ZelSetSink(ZelSink target) { sink.store(target); }

void ZelSetTrace(bool on) { trace.store(on, std::memory_order_relaxed); }
