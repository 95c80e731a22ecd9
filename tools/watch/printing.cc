// Changes as lines, rows and objects.

#include "difference.h"
#include "formats/format.h"
#include "watch/listener.h"

namespace tool {
namespace {

class CDifferencePrinter : public CListener {
 public:
  explicit CDifferencePrinter(const CContext& context)
      : m_differences(context) {}

  void Take(const CSeen& seen) override {
    if (seen.change == '+' && seen.now) {
      m_differences.Added(seen.table, *seen.schema, *seen.now);
    } else if (seen.change == '-' && seen.old) {
      m_differences.Removed(seen.table, *seen.oldSchema, *seen.old);
    } else if (seen.change == '~' && seen.old && seen.now) {
      PrintValues(seen);
    } else {
      m_differences.Bare(seen.change, seen.table, seen.id);
    }
  }

  void End() override { m_differences.End(); }

 private:
  void PrintValues(const CSeen& seen) {
    const auto values = ChangedValues(*seen.oldSchema, *seen.old, *seen.schema,
                                      *seen.now, Lacking::kEmpty);
    for (const CChangedValue& value : values) {
      m_differences.Changed(seen.table, seen.id, value.field, value.from,
                            value.to);
    }
    if (values.empty()) m_differences.Bare('~', seen.table, seen.id);
  }

  CDifferences m_differences;
};

std::string ObjectOf(const CSchema& schema,
                     const std::optional<CRecord>& record) {
  if (!record) return "null";
  return JsonObject(schema.columns,
                    {record->values.begin(), record->values.end()});
}

// One object a change, whatever the number of its values.
class CObjectPrinter : public CListener {
 public:
  explicit CObjectPrinter(COutput& out) : m_out(out) {}

  void Take(const CSeen& seen) override {
    const CField text;
    m_out.Write("{\"change\":" + JsonValue(text, {seen.change}) +
                ",\"table\":" + JsonValue(text, seen.table) +
                ",\"id\":" + JsonValue({"id", "int"}, seen.id) +
                ",\"old\":" + ObjectOf(*seen.oldSchema, seen.old) +
                ",\"new\":" + ObjectOf(*seen.schema, seen.now) + "}\n");
  }

 private:
  COutput& m_out;
};

}  // namespace

std::unique_ptr<CListener> MakePrinter(const CContext& context) {
  if (context.globals.format == "jsonl") {
    return std::make_unique<CObjectPrinter>(context.out);
  }
  return std::make_unique<CDifferencePrinter>(context);
}

}  // namespace tool
