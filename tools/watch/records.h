// The records of a table as they were last seen.

#ifndef TOOLS_WATCH_RECORDS_H_
#define TOOLS_WATCH_RECORDS_H_

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "report.h"
#include "store.h"
#include "watch/listener.h"

namespace tool {

// Where tables tell their changes.
class CSink {
 public:
  CSink() = default;
  virtual ~CSink() = default;
  CSink(const CSink&) = delete;
  CSink& operator=(const CSink&) = delete;

  virtual void Take(const CSeen& seen) = 0;
  virtual const CReport& report() const = 0;

  // Whether there is no use in going on.
  virtual bool IsOver() const = 0;
};

class CRecords {
 public:
  CRecords(CTableReader reader, CSink& sink);

  const CTableReader& reader() const { return m_reader; }

  // Reads from another directory from here on.
  void Exchange(CTableReader reader);

  // Reads the same directory with other names and types of its columns.
  void Rename(CTableReader reader);

  bool IsKnown(const std::string& id) const { return m_known.count(id) > 0; }

  // The ids of those that are known, sorted.
  std::vector<std::string> Ids() const;

  // Each tells a change.  One that cannot be read is named, unless it is
  // changed again by now.
  void Saved(const std::string& id,
             const std::function<bool()>& isChangedAgain);
  void Removed(const std::string& id);

  // Tells the change, if there is one in the values.
  void Compare(const std::string& id);

  // Whether it can be read now, and whether that is what is known.
  bool IsReadable(const std::string& id) const;
  bool IsAsKnown(const std::string& id) const;

 private:
  struct CKnown {
    std::optional<std::string> line;  // unless it could not be read
    std::shared_ptr<CSchema> schema;
  };
  enum class Finding { kGone, kOther, kUnreadable, kRecord };

  Finding Look(const std::string& id, std::optional<CRecord>& record,
               const std::function<bool()>& isChangedAgain) const;
  void Put(const std::string& id, std::optional<CRecord> record,
           bool isReadable);
  bool Differs(const std::string& id,
               const std::optional<CRecord>& record) const;
  std::optional<CRecord> Known(const std::string& id) const;

  CSink& m_sink;
  CTableReader m_reader;
  // Shared by all that was read with it: it may be given other names.
  std::shared_ptr<CSchema> m_schema;
  std::map<std::string, CKnown> m_known;
};

}  // namespace tool

#endif  // TOOLS_WATCH_RECORDS_H_
