// Reading JSON and JSON lines.

#include "import/json.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

namespace tool {
namespace {

using Json = nlohmann::json;

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Behind the name of the exception, and the place in the parser's words.
std::string WordsOf(const std::string& error) {
  const std::size_t at = error.find("syntax error");
  return error.substr(at != error.npos ? at : error.find("] ") + 2);
}

// How far the parser has read.
struct CPlace {
  std::size_t feeds;  // line feeds before, and those read
  std::size_t line;   // of the last byte that is no blank
};

// The input, which notes the line.  The parser looks at most one byte ahead,
// and only behind a number: so the line is that of the value just read, unless
// what follows the number is no blank, and then it is on the same line.
class CBytes {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = char;

  CBytes(const char* at, CPlace* place) : m_at(at), m_place(place) {}

  char operator*() const { return *m_at; }
  CBytes& operator++() {
    if (*m_at == '\n') ++m_place->feeds;
    if (!IsBlank(*m_at)) m_place->line = m_place->feeds + 1;
    ++m_at;
    return *this;
  }
  bool operator==(const CBytes& other) const { return m_at == other.m_at; }
  bool operator!=(const CBytes& other) const { return m_at != other.m_at; }

 private:
  const char* m_at;
  CPlace* m_place;
};

// Takes flat objects; everything else ends the command.
class CObjectReader : public nlohmann::json_sax<Json> {
 public:
  CObjectReader(CInputRows& rows, const CPlace& place, bool takesArray)
      : m_rows(rows), m_place(place), m_takesArray(takesArray) {}

  bool null() override { return Take(""); }
  bool boolean(bool value) override {
    Refuse(value ? "true is no value" : "false is no value");
  }
  bool number_integer(number_integer_t value) override {
    return Take(std::to_string(value));
  }
  bool number_unsigned(number_unsigned_t value) override {
    return Take(std::to_string(value));
  }
  // Also an integer that is too large for the others.
  bool number_float(number_float_t /*value*/, const string_t& text) override {
    if (text.find_first_not_of("-0123456789") == text.npos) return Take(text);
    Refuse("no integer: " + text);
  }
  bool string(string_t& value) override { return Take(std::move(value)); }
  bool binary(binary_t& /*value*/) override { Refuse("no value"); }

  bool start_object(std::size_t /*size*/) override {
    if (m_isInObject) Refuse("a value cannot be an object");
    m_isInObject = true;
    m_rows.Begin(m_place.line);
    return true;
  }
  bool key(string_t& name) override {
    m_column = m_rows.ColumnOf(name, m_place.line);
    return true;
  }
  bool end_object() override {
    m_isInObject = false;
    return true;
  }
  bool start_array(std::size_t /*size*/) override {
    if (m_isInObject || !m_takesArray) Refuse("a value cannot be an array");
    m_takesArray = false;
    return true;
  }
  bool end_array() override { return true; }

  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const nlohmann::detail::exception& error) override {
    m_rows.Refuse(m_place.line, WordsOf(error.what()));
  }

 private:
  bool Take(std::string value) {
    if (!m_isInObject) Refuse("");
    m_rows.Set(m_place.line, m_column, std::move(value));
    return true;
  }

  [[noreturn]] void Refuse(const std::string& what) const {
    if (m_isInObject) m_rows.Refuse(m_place.line, m_column, what);
    m_rows.Refuse(m_place.line, "a record must be an object");
  }

  CInputRows& m_rows;
  const CPlace& m_place;
  bool m_takesArray;  // the next value may be the array of all
  bool m_isInObject = false;
  std::size_t m_column = 0;
};

void Parse(std::string_view text, std::size_t line, bool takesArray,
           CInputRows& rows) {
  // The parser would take it for the end.
  const std::string_view before = text.substr(0, text.find('\0'));
  if (before.size() < text.size()) {
    const auto feeds = std::count(before.begin(), before.end(), '\n');
    rows.Refuse(line + static_cast<std::size_t>(feeds), "a byte 0");
  }
  CPlace place{line - 1, line};
  CObjectReader reader(rows, place, takesArray);
  const char* const end = text.data() + text.size();
  Json::sax_parse(CBytes(text.data(), &place), CBytes(end, &place), &reader);
}

}  // namespace

void ReadJson(std::string_view text, CInputRows& rows) {
  Parse(text, 1, true, rows);
}

void ReadJsonLines(std::string_view text, CInputRows& rows) {
  for (std::size_t line = 1; !text.empty(); ++line) {
    const std::string_view object = text.substr(0, text.find('\n'));
    if (!std::all_of(object.begin(), object.end(), IsBlank)) {
      Parse(object, line, false, rows);
    }
    text.remove_prefix(std::min(object.size() + 1, text.size()));
  }
}

}  // namespace tool
