// Schema lines and numbers.

#include "schema.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace tool {
namespace {

// A decimal of the type in its one form.
template <typename Integer>
bool IsCanonical(std::string_view text) {
  Integer number{};
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end && std::to_string(number) == text;
}

// False for what is no column.
bool ParseField(std::string_view spec, CField& field) {
  const std::size_t open = spec.find('[');
  if (open == spec.npos) return false;
  field.name = spec.substr(0, open);
  spec.remove_prefix(open + 1);
  field.type = spec.substr(0, spec.find(']'));
  return field.type == "int" || field.type == "bigint" ||
         field.type == "varchar";
}

}  // namespace

bool CField::HoldsNumber(std::string_view value) const {
  return type == "int" ? IsCanonical<std::int32_t>(value)
                       : type == "bigint" && IsCanonical<std::int64_t>(value);
}

std::optional<std::size_t> CSchema::Find(std::string_view name) const {
  const auto found =
      std::find_if(columns.begin(), columns.end(),
                   [&](const CField& field) { return field.name == name; });
  if (found == columns.end()) return std::nullopt;
  return static_cast<std::size_t>(found - columns.begin());
}

std::optional<std::size_t> CSchema::Find(std::string_view name,
                                         std::size_t place) const {
  if (place < columns.size() && columns[place].name == name) return place;
  return Find(name);
}

std::string CSchema::Names() const {
  std::string names;
  for (const CField& field : columns) {
    names += (names.empty() ? "" : ", ") + field.name;
  }
  return names;
}

CSchema ParseSchema(std::string line) {
  CSchema schema;
  // The library stops at a byte 0.
  std::string_view rest(line);
  rest = rest.substr(0, rest.find('\0'));
  schema.isWhole = rest.size() == line.size();
  while (!rest.empty()) {
    const std::string_view spec = rest.substr(0, rest.find('|'));
    CField field;
    if (!ParseField(spec, field)) {
      schema.isWhole = false;
      break;
    }
    schema.columns.push_back(std::move(field));
    rest.remove_prefix(std::min(spec.size() + 1, rest.size()));
  }
  schema.line = std::move(line);
  return schema;
}

bool IsCanonicalId(std::string_view id) {
  return IsCanonical<std::int32_t>(id);
}

}  // namespace tool
