// Building texts, and what they refuse.

#include <kivdb/texts.h>

#include "core/format.h"
#include "core/no_throw.h"
#include "host/append_escaped.h"

namespace KivDB {
namespace {

constexpr std::size_t kValueMax = kValueSize - 1;

// What operations refuse: fields with a line feed inside, an empty piece, and a
// condition that no record meets.
constexpr char kRefusedRecord[] = "?\n?,?\n?";
constexpr char kRefusedUpdate[] = ",";
constexpr char kRefusedCondition[] = "";

std::string TooLong(const char* prefix) {
  return prefix + ("over " + std::to_string(kValueMax)) + " bytes";
}

// Why the value cannot be kept, or the empty text.
std::string FaultOf(std::string_view value) {
  if (value.data() == nullptr) return "a null text";
  if (value.find('\0') != value.npos) return "a byte 0";
  return value.size() > kValueMax ? TooLong("") : "";
}

// Why the name can be none of a column in a text, or the empty text.
std::string FaultOfName(std::string_view column) {
  if (column.empty()) return "no name";
  if (column.find('\0') != column.npos) return "a byte 0 in the name";
  const bool isPlain = column.find_first_of(" \t\n\v\f\r,=") == column.npos;
  return isPlain ? "" : "a blank, \",\" or \"=\" in the name";
}

}  // namespace

CText& CText::operator=(const CText& other) {
  if (this == &other) return *this;
  NoThrow(
      [&]() -> int {
        std::string text = other.m_text;
        m_error = other.m_error;
        m_text.swap(text);
        return kOk;
      },
      [&] { return RefuseForMemory(); });
  return *this;
}

bool CText::ok() const { return m_error.empty(); }

const std::string& CText::error() const { return m_error; }

// Short enough to need none.
int CText::RefuseForMemory() {
  m_error = "no memory";
  return NoMemory();
}

template <typename Body>
void CText::Append(const char* kind, Body body) {
  if (!ok()) return;
  NoThrow(
      [&]() -> int {
        m_error = body();
        if (ok()) return kOk;
        return KIVDB_FAIL(kSyntax, "%s refused: %s", kind, m_error.c_str());
      },
      [&] { return RefuseForMemory(); });
}

void CText::AppendPair(const char* kind, std::string_view column,
                       const CValue& value) {
  Append(kind, [&]() -> std::string {
    std::string fault = FaultOfName(column);
    if (fault.empty()) fault = FaultOf(value.text());
    if (!fault.empty()) {
      std::string error = "column [";
      AppendEscaped(column, error);
      return error + "]: " + fault;
    }
    if (!m_text.empty()) m_text += ',';
    m_text.append(column) += '=';
    AppendEscaped(value.text(), m_text);
    return "";
  });
}

CRecordText::CRecordText() = default;

CRecordText& CRecordText::Add(const CValue& value) {
  Append("record text", [&]() -> std::string {
    ++m_count;
    std::string fault = FaultOf(value.text());
    std::string escaped;
    if (fault.empty()) AppendEscaped(value.text(), escaped);
    if (escaped.size() > kValueMax) fault = TooLong("escaped, ");
    if (!fault.empty()) {
      return "value " + std::to_string(m_count) + ": " + fault;
    }
    if (!m_text.empty() && m_text.back() != ',') m_text += ',';
    m_text += escaped;
    if (escaped.empty()) m_text += ',';  // or it would not count as the last
    return "";
  });
  return *this;
}

const char* CRecordText::c_str() const {
  return ok() ? m_text.c_str() : kRefusedRecord;
}

CUpdateText::CUpdateText() = default;

CUpdateText& CUpdateText::Set(std::string_view column, const CValue& value) {
  AppendPair("update text", column, value);
  return *this;
}

const char* CUpdateText::c_str() const {
  return ok() ? m_text.c_str() : kRefusedUpdate;
}

CConditionText::CConditionText() = default;

CConditionText& CConditionText::Equals(std::string_view column,
                                       const CValue& value) {
  AppendPair("condition", column, value);
  return *this;
}

const char* CConditionText::c_str() const {
  if (!ok()) return kRefusedCondition;
  return m_text.empty() ? nullptr : m_text.c_str();
}

}  // namespace KivDB
