// Listings as ranges: a loop over the records of a table.

#ifndef KIVDB_LISTING_H_
#define KIVDB_LISTING_H_

#include <kivdb/export.h>
#include <kivdb/table.h>
#include <kivdb/texts.h>

#include <charconv>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KivDB {

// A record of a listing, valid until its next step.
class KIVDB_EXPORT CRow {
 public:
  CRow(const CRow&) = delete;
  CRow& operator=(const CRow&) = delete;

  // The id, which is the value of the first column.
  const char* id() const;

  // The number of columns.
  std::size_t size() const;

  // The value of a column, by its name or its place from 0 on; behind it is a
  // NUL.  A column that the table does not have reads as the empty text, and
  // the listing ends after this row with kNoColumn (logged with the columns
  // that there are).
  std::string_view operator[](std::string_view column) const;
  std::string_view operator[](std::size_t place) const;

  // The value as an integer of any type.  Nothing for what is not all digits,
  // behind a "-" in a signed type: an empty value, blanks, a "+"; and nothing
  // for a number that the type cannot hold.
  template <typename Integer>
  std::optional<Integer> Get(std::string_view column) const {
    static_assert(kIsInteger<Integer>);
    const std::string_view text = (*this)[column];
    const char* const end = text.data() + text.size();
    Integer number{};
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end) return std::nullopt;
    return number;
  }

  // All values in the order of the columns; none without memory (logged).
  std::vector<std::string> values() const;

 private:
  friend class CListing;

  KIVDB_LOCAL explicit CRow(const std::vector<CColumn*>& columns);
  KIVDB_LOCAL const CColumn* Find(std::string_view column) const;
  KIVDB_LOCAL std::string_view Refuse(std::string_view column) const;

  const std::vector<CColumn*>& m_columns;  // of the listing's table
  mutable int m_status;                    // of the listing
};

// The records of a table that meet a condition, each once:
//
//   CListing listing(*hosts, CConditionText().Equals("port", 443));
//   for (const CRow& row : listing) std::puts(row["name"].data());
//   if (listing.status() != kOk) std::puts(StatusText(listing.status()));
//
// It works on a copy of the table, made with it, and on a copy of the
// condition.  So the table's current record and place in a listing stay, and
// the loop may change records and begin other listings.  A record that is
// added, or saved again, while the loop runs may come twice or not at all.
// Every record is read, also those that do not meet the condition; what
// ListRecordsStart says of records that cannot be read counts here.
//
// The listing keeps a descriptor from its first step until it is destroyed,
// also when a break ended the loop.  It belongs to one thread at a time, and so
// do table and condition while it is made.
class KIVDB_EXPORT CListing {
 public:
  class iterator;

  // Without a condition, or with one that says nothing: every record.  Throws
  // std::bad_alloc.
  explicit CListing(const CTable& table);
  CListing(const CTable& table, const CConditionText& condition);
  CListing(const CListing&) = delete;
  CListing& operator=(const CListing&) = delete;

  // begin starts anew and reads the first record; there is one row, which all
  // iterators show.
  iterator begin();
  iterator end();

  // Why the loop ended.  kOk before it began, at its end and after a break;
  // kSyntax for a condition that its builder refused; kNoColumn for a column
  // that the table does not have, in the condition or asked of a row; or what
  // ListRecordsStart and ListRecordsNext give.  Ask it after the loop: of a
  // listing without a name, for (... : CListing(table)), nobody can.
  int status() const;

 private:
  KIVDB_LOCAL bool Start();
  KIVDB_LOCAL bool HasColumns() const;
  KIVDB_LOCAL bool Next();
  KIVDB_LOCAL bool IsAtRow(int status);

  CTable m_table;
  CConditionText m_condition;
  CRow m_row;
};

// An input iterator.
class KIVDB_EXPORT CListing::iterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = CRow;
  using difference_type = std::ptrdiff_t;
  using pointer = const CRow*;
  using reference = const CRow&;

  iterator() = default;

  reference operator*() const { return m_listing->m_row; }
  pointer operator->() const { return &m_listing->m_row; }
  iterator& operator++();
  void operator++(int) { ++*this; }
  bool operator==(const iterator& other) const {
    return m_listing == other.m_listing;
  }
  bool operator!=(const iterator& other) const { return !(*this == other); }

 private:
  friend class CListing;

  explicit iterator(CListing* listing) : m_listing(listing) {}

  CListing* m_listing = nullptr;  // null at the end
};

}  // namespace KivDB

#endif  // KIVDB_LISTING_H_
