// Record, update and condition texts that cannot be got wrong.

#ifndef KIVDB_TEXTS_H_
#define KIVDB_TEXTS_H_

#include <kivdb/export.h>

#include <charconv>
#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>

namespace KivDB {

// The integers that values are made of and read as: neither bool nor
// characters, which are texts or nothing.
template <typename Type>
inline constexpr bool kIsInteger =
    std::is_integral_v<Type> && !std::is_same_v<Type, bool> &&
    !std::is_same_v<Type, char> && !std::is_same_v<Type, wchar_t> &&
#ifdef __cpp_char8_t
    !std::is_same_v<Type, char8_t> &&
#endif
    !std::is_same_v<Type, char16_t> && !std::is_same_v<Type, char32_t>;

// A value as a parameter: a text or an integer.  Nothing else compiles, such as
// a bool, a character, a floating point number, an enumerator or an optional.
// The text is the caller's and must live as long as the value.
class CValue {
 public:
  // Whatever converts to std::string_view.  A null pointer and a view of
  // nothing are a null text.
  template <
      typename Text,
      std::enable_if_t<std::is_convertible_v<const Text&, std::string_view> &&
                           !std::is_null_pointer_v<Text>,
                       int> = 0>
  CValue(const Text& text) {  // NOLINT(google-explicit-constructor)
    if constexpr (std::is_pointer_v<Text>) {
      if (text != nullptr) m_text = text;
    } else {
      m_text = text;
    }
  }

  // Any integer type; the value is its decimal digits.
  template <typename Integer, std::enable_if_t<kIsInteger<Integer>, int> = 0>
  CValue(Integer number) {  // NOLINT(google-explicit-constructor)
    const auto end =
        std::to_chars(m_digits, m_digits + sizeof(m_digits), number).ptr;
    m_text = {m_digits, static_cast<std::size_t>(end - m_digits)};
  }

  CValue(const CValue&) = delete;
  CValue& operator=(const CValue&) = delete;

  // data() is null for a null text.
  std::string_view text() const { return m_text; }

 private:
  std::string_view m_text;
  char m_digits[40];
};

// What the three builders have in common.  Values are given as they are, and
// the builder escapes them.
//
// It refuses at the first fault: a null text, a byte 0, a value of more than
// 2047 bytes, which could not be read back, and a column name that is empty or
// holds a blank, "," or "=".  It logs that once (kSyntax; kNoMemory when there
// is no memory) and stays refused, whatever follows.  The text of a refused
// builder does no harm: no operation writes anything for it, and no record
// meets it.
//
// A builder belongs to one thread at a time and can be copied, which throws
// std::bad_alloc; without memory a builder that is assigned to is refused.
class KIVDB_EXPORT CText {
 public:
  bool ok() const;

  // What was refused: "value 2: over 2047 bytes", "column [port]: a byte 0".
  // Empty where nothing was.
  const std::string& error() const;

 protected:
  CText() = default;
  CText(const CText& other) = default;
  CText& operator=(const CText& other);
  ~CText() = default;

  // Append what body does, which gives its error or the empty text, or a pair.
  template <typename Body>
  KIVDB_LOCAL void Append(const char* kind, Body body);
  KIVDB_LOCAL void AppendPair(const char* kind, std::string_view column,
                              const CValue& value);
  KIVDB_LOCAL int RefuseForMemory();

  std::string m_text;
  std::string m_error;
};

// A record text, for addRecord: the values of its columns in their order, the
// id first where the record gets no allocated one.
//
//   int id = 0;
//   hosts.addRecord(CRecordText("beta", 443).c_str(), &id, 0);
//   hosts.addRecord(CRecordText(7, "gamma", 25).c_str(), nullptr, 0);
//
// A value is also refused when it has more than 2047 bytes once it is escaped.
// Whether there are as many values as columns, only addRecord can tell.
class KIVDB_EXPORT CRecordText : public CText {
 public:
  CRecordText();
  template <
      typename... V,
      std::enable_if_t<(std::is_convertible_v<const V&, const CValue&> && ...),
                       int> = 0>
  explicit CRecordText(const V&... values) {
    (Add(values), ...);
  }

  CRecordText& Add(const CValue& value);

  // The text, which the builder keeps until it changes.
  const char* c_str() const;

 private:
  std::size_t m_count = 0;  // of the values
};

// An update text, for updateRecord: the columns that change.
//
//   hosts.updateRecord("7", CUpdateText().Set("port", 8080).c_str());
//
// With nothing set it changes nothing.  Setting the id does nothing, either:
// the name of the record's file is its id.  After updateRecord the table's
// current record holds the values as the text does, escaped: read it again.
class KIVDB_EXPORT CUpdateText : public CText {
 public:
  CUpdateText();
  CUpdateText& Set(std::string_view column, const CValue& value);
  const char* c_str() const;  // as above
};

// A condition: the values that columns must have, all of them.
//
//   const CConditionText condition = CConditionText().Equals("port", 443);
//   int status = hosts.ListRecordsStart(condition.c_str());
//
// With nothing said c_str() is null, and every record meets it.  Every record
// is read to find those that do, with Equals("id", 7) too: where the id is
// known, readRecord("7") reads one file.
class KIVDB_EXPORT CConditionText : public CText {
 public:
  CConditionText();
  CConditionText& Equals(std::string_view column, const CValue& value);
  const char* c_str() const;  // as above, or null
};

}  // namespace KivDB

#endif  // KIVDB_TEXTS_H_
