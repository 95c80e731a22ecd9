// Suffixes and leading numbers.

#include "check/names.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

namespace tool {
namespace {

bool IsWithSuffix(std::string_view name, std::string_view suffix) {
  return name.size() >= suffix.size() &&
         name.substr(name.size() - suffix.size()) == suffix;
}

}  // namespace

bool IsLeftoverName(const std::string& name) {
  return IsWithSuffix(name, "~") || IsWithSuffix(name, ".swp") ||
         IsWithSuffix(name, ".bak") || IsWithSuffix(name, ".orig") ||
         name.find(".dpkg-") != name.npos || name.find(".rpm") != name.npos;
}

CTemporaryName ParseTemporary(const std::string& name) {
  CTemporaryName parsed{name};
  while (IsWithSuffix(parsed.id, kTemporarySuffix)) {
    parsed.id.resize(parsed.id.size() - std::strlen(kTemporarySuffix));
    ++parsed.suffixes;
  }
  return parsed;
}

unsigned int LeadingId(const char* name) {
  // Hosts keep the low 32 bits.
  return static_cast<unsigned int>(std::strtol(name, nullptr, 10));
}

std::optional<unsigned int> ExhaustingId(const char* name) {
  constexpr std::size_t kSafeDigits = 9;
  const bool isPlain = *name >= '0' && *name <= '9';
  if (isPlain && strnlen(name, kSafeDigits + 1) <= kSafeDigits) {
    return std::nullopt;
  }
  constexpr unsigned int kMax = std::numeric_limits<int>::max();
  const unsigned int id = LeadingId(name);
  if (id < kMax) return std::nullopt;
  return id;
}

}  // namespace tool
