// The formats json and jsonl.

#include <nlohmann/json.hpp>
#include <utility>

#include "formats/format.h"

namespace tool {
namespace {

using Json = nlohmann::ordered_json;

Json ValueOf(const CField& field, const std::optional<std::string>& value) {
  if (!value) return nullptr;
  if (field.HoldsNumber(*value)) return std::stoll(*value);
  return *value;
}

// Bytes that are no UTF-8 become U+FFFD.
std::string TextOf(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

class CObjects : public CFormat {
 public:
  CObjects(COutput& out, std::vector<CField> fields, bool isArray)
      : CFormat(out, std::move(fields)), m_isArray(isArray) {}

  void Add(const CRow& row) override {
    if (m_isArray) Write(m_isEmpty ? "[\n" : ",\n");
    m_isEmpty = false;
    Write(JsonObject(fields(), row.cells) + (m_isArray ? "" : "\n"));
  }
  void End() override {
    if (m_isArray) Write(m_isEmpty ? "[]\n" : "\n]\n");
  }
  void Only(const CRow& row) override {
    Write(JsonObject(fields(), row.cells) + "\n");
  }

 private:
  bool m_isArray;
  bool m_isEmpty = true;
};

}  // namespace

std::string JsonValue(const CField& field, const std::string& value) {
  return TextOf(ValueOf(field, value));
}

std::string JsonObject(const std::vector<CField>& fields,
                       const std::vector<std::optional<std::string>>& values) {
  Json object = Json::object();
  for (std::size_t i = 0; i < values.size(); ++i) {
    object[fields[i].name] = ValueOf(fields[i], values[i]);
  }
  return TextOf(object);
}

std::unique_ptr<CFormat> MakeJson(COutput& out, std::vector<CField> fields) {
  return std::make_unique<CObjects>(out, std::move(fields), true);
}

std::unique_ptr<CFormat> MakeJsonLines(COutput& out,
                                       std::vector<CField> fields) {
  return std::make_unique<CObjects>(out, std::move(fields), false);
}

}  // namespace tool
