// What becomes of the changes that are seen.

#ifndef TOOLS_WATCH_LISTENER_H_
#define TOOLS_WATCH_LISTENER_H_

#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "context.h"
#include "store.h"

namespace tool {

// A change of a record.  It may be followed by others when it is told: then its
// values are those of the last that could be read, or none.
struct CSeen {
  char change;  // '+', '~' or '-'
  std::string table;
  std::string id;
  std::shared_ptr<const CSchema> oldSchema;
  std::shared_ptr<const CSchema> schema;
  std::optional<CRecord> old;
  std::optional<CRecord> now;
};

class CListener {
 public:
  CListener() = default;
  virtual ~CListener() = default;
  CListener(const CListener&) = delete;
  CListener& operator=(const CListener&) = delete;

  virtual void Take(const CSeen& seen) = 0;
  virtual void End() {}

  // Whether it has no use without a reader of standard output.
  virtual bool Prints() const { return true; }
};

// Prints each in the format of the run.
std::unique_ptr<CListener> MakePrinter(const CContext& context);

// Runs a command for each and waits for it.  The command's signals are held as
// before those of this process.
std::unique_ptr<CListener> MakeRunner(const CContext& context,
                                      std::vector<std::string> command,
                                      const sigset_t& held);

}  // namespace tool

#endif  // TOOLS_WATCH_LISTENER_H_
