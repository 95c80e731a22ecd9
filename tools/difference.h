// Changes, as diff prints them and a dry run foretells them.

#ifndef TOOLS_DIFFERENCE_H_
#define TOOLS_DIFFERENCE_H_

#include <memory>
#include <string>
#include <vector>

#include "context.h"
#include "formats/format.h"
#include "store.h"

namespace tool {

// A value in which two records differ.
struct CChangedValue {
  CField field;
  std::string from;
  std::string to;
};

// By the names of their columns.  A value that only one of them has is left
// out, or counts as empty in the other.
enum class Lacking { kLeftOut, kEmpty };
std::vector<CChangedValue> ChangedValues(const CSchema& schema,
                                         const CRecord& from,
                                         const CSchema& otherSchema,
                                         const CRecord& to, Lacking lacking);

// Prints each change in the format of the run: as lines,
//
//   - hosts/2 name=beta port=443
//   + hosts/3 name="" port=80
//   ~ hosts/1 port: 80 -> 8080
//
// or as rows of change, table, id, column, old and new, one a column.
class CDifferences {
 public:
  // hasKept: rows have a column "here", too, for Kept.
  explicit CDifferences(const CContext& context, bool hasKept = false);

  // A whole record.
  void Removed(const std::string& table, const CSchema& schema,
               const CRecord& record);
  void Added(const std::string& table, const CSchema& schema,
             const CRecord& record);

  // A record without its values.
  void Bare(char change, const std::string& table, const std::string& id);

  // One value.
  void Changed(const std::string& table, const std::string& id,
               const CField& field, const std::string& from,
               const std::string& to);

  // One value that was to become another, and stays as it is here:
  //
  //   ! hosts/1 port: shipped 1, now 100, here 50
  void Kept(const std::string& table, const std::string& id,
            const CField& field, const std::string& shipped,
            const std::string& now, const std::string& here);

  // Every value in which the two differ.
  void Compare(const std::string& table, const CSchema& schema,
               const CRecord& from, const CSchema& otherSchema,
               const CRecord& to);

  // A table or one of its columns: change is '-', '+' or '~', column may be
  // empty, from and to are types.
  void Shape(char change, const std::string& table, const std::string& column,
             const std::string& from, const std::string& to);

  // The columns that two schemas of a table have not both.
  void Columns(const std::string& table, const CSchema& from,
               const CSchema& to);

  void End();
  bool AreNone() const { return m_areNone; }

 private:
  void Whole(char change, const std::string& table, const CSchema& schema,
             const CRecord& record);
  void Row(char change, const std::string& table, std::optional<std::string> id,
           std::optional<std::string> column, std::optional<std::string> from,
           std::optional<std::string> to,
           std::optional<std::string> here = std::nullopt);

  COutput& m_out;
  std::unique_ptr<CFormat> m_format;  // null: as lines
  bool m_hasKept;
  bool m_areNone = true;
};

}  // namespace tool

#endif  // TOOLS_DIFFERENCE_H_
