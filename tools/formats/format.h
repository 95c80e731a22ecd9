// Output formats: one interface, an implementation each.

#ifndef TOOLS_FORMATS_FORMAT_H_
#define TOOLS_FORMATS_FORMAT_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "context.h"
#include "schema.h"

namespace tool {

// One line of data.
struct CRow {
  std::vector<std::optional<std::string>> cells;  // without a value: unknown
  std::string id;                                 // what the format ids prints
  std::string raw;  // what the format raw prints behind the id
};

class CFormat {
 public:
  CFormat(COutput& out, std::vector<CField> fields)
      : m_out(out), m_fields(std::move(fields)) {}
  virtual ~CFormat() = default;
  CFormat(const CFormat&) = delete;
  CFormat& operator=(const CFormat&) = delete;

  // Rows of any number, and what follows the last.  A format that aligns may
  // keep the first rows until it knows their widths; Stream bounds that.
  virtual void Add(const CRow& row) = 0;
  virtual void End() {}
  virtual void Stream() {}

  // A row that is all that was asked for.
  virtual void Only(const CRow& row) {
    Add(row);
    End();
  }

 protected:
  void Write(std::string_view text) { m_out.Write(text); }
  const std::vector<CField>& fields() const { return m_fields; }

 private:
  COutput& m_out;
  std::vector<CField> m_fields;
};

// The format that the run asks for.  The fields name and type the cells.
std::unique_ptr<CFormat> MakeFormat(const CContext& context,
                                    std::vector<CField> fields);

// The names that --output takes.
const std::vector<std::string>& FormatNames();

// What makes each of them.
std::unique_ptr<CFormat> MakeTable(COutput& out, std::vector<CField> fields);
std::unique_ptr<CFormat> MakeTsv(COutput& out, std::vector<CField> fields);
std::unique_ptr<CFormat> MakeCsv(COutput& out, std::vector<CField> fields);
std::unique_ptr<CFormat> MakeJson(COutput& out, std::vector<CField> fields);
std::unique_ptr<CFormat> MakeJsonLines(COutput& out,
                                       std::vector<CField> fields);
std::unique_ptr<CFormat> MakeRaw(COutput& out, std::vector<CField> fields);
std::unique_ptr<CFormat> MakeIds(COutput& out, bool endsWithNul);

// A value alone, as a JSON value by the rules of its column.
std::string JsonValue(const CField& field, const std::string& value);

// An object of these values, with null for those that are unknown.
std::string JsonObject(const std::vector<CField>& fields,
                       const std::vector<std::optional<std::string>>& values);

}  // namespace tool

#endif  // TOOLS_FORMATS_FORMAT_H_
