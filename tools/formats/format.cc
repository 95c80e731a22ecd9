// Choosing a format.

#include "formats/format.h"

#include <utility>

namespace tool {

const std::vector<std::string>& FormatNames() {
  static const std::vector<std::string> names = {"table", "tsv", "csv", "json",
                                                 "jsonl", "raw", "ids"};
  return names;
}

std::unique_ptr<CFormat> MakeFormat(const CContext& context,
                                    std::vector<CField> fields) {
  const std::string& name = context.globals.format;
  COutput& out = context.out;
  if (name == "tsv") return MakeTsv(out, std::move(fields));
  if (name == "csv") return MakeCsv(out, std::move(fields));
  if (name == "json") return MakeJson(out, std::move(fields));
  if (name == "jsonl") return MakeJsonLines(out, std::move(fields));
  if (name == "raw") return MakeRaw(out, std::move(fields));
  if (name == "ids") return MakeIds(out, context.globals.endsWithNul);
  return MakeTable(out, std::move(fields));
}

}  // namespace tool
