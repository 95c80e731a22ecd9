// Definitions and values of columns.

#include <kivdb/column.h>
#include <kivdb/status.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "core/log.h"
#include "core/no_throw.h"
#include "core/null_text.h"

namespace KivDB {
namespace {

// The code of a type is its place here.
constexpr const char* kTypes[] = {"int", "bigint", "varchar"};
constexpr int kUnset = 5;

constexpr std::size_t kSmallestRoom = 256;

// The bytes that are taken for a text of size bytes, its NUL included.
std::size_t RoomFor(std::size_t size) {
  std::size_t room = kSmallestRoom;
  while (room < size) room *= 2;
  return room;
}

}  // namespace

CColumn::CColumn() : m_type(kUnset), m_primaryKey(false), m_data(nullptr) {}

CColumn::CColumn(const char* name)
    : m_name(TextOrEmpty(name)),
      m_type(kUnset),
      m_primaryKey(false),
      m_data(nullptr) {}

CColumn::CColumn(const CColumn& other)
    : m_name(other.m_name),
      m_type(other.m_type),
      m_primaryKey(other.m_primaryKey),
      m_data(nullptr) {
  SetData(other.m_data);  // logs a failure; construction goes on
}

CColumn::~CColumn() { std::free(m_data); }

int CColumn::SetInfo(const char* spec) {
  return NoThrow([&] { return ParseSpec(TextOrEmpty(spec)); });
}

// Throws std::bad_alloc, with nothing changed.
int CColumn::ParseSpec(const char* spec) {
  const char* open = std::strchr(spec, '[');
  if (open == nullptr) return kNoType;
  m_name.assign(spec, open);
  const std::string_view keyword(open + 1, std::strcspn(open + 1, "]"));
  for (int type = 0; type < 3; ++type) {
    if (keyword == kTypes[type]) {
      m_type = type;
      return kOk;
    }
  }
  KIVDB_INFO(kUnknownType, "invalid data type");
  return kUnknownType;
}

// A value that fits takes the place of the old one, so that the records of a
// listing cost no allocation each.  What the old one needs is there at least.
// value may be the column's own.
int CColumn::SetData(const char* value) {
  value = TextOrEmpty(value);
  const std::size_t size = std::strlen(value) + 1;
  if (m_data != nullptr && size <= RoomFor(std::strlen(m_data) + 1)) {
    std::memmove(m_data, value, size);
    return kOk;
  }
  auto* data = static_cast<char*>(std::malloc(RoomFor(size)));
  if (data != nullptr) std::memcpy(data, value, size);
  std::free(m_data);
  m_data = data;
  return data != nullptr ? kOk : KIVDB_FAIL(kNoMemory, "no memory");
}

int CColumn::GetDataStr(char* buf, unsigned int size) const {
  if (buf == nullptr || size == 0) {
    return KIVDB_FAIL(kInvalid, "GetDataStr Error: invalid parameter");
  }
  zelstrcpy(buf, ValueOf(*this), size);
  return kOk;
}

int CColumn::GetDataBigInt(long& out) const {
  const char* value = ValueOf(*this);
  char* end = nullptr;
  out = std::strtoll(value, &end, 10);
  if (*end == '\0') return kOk;
  return KIVDB_FAIL(kInvalid, "GetDataBigInt Error: invalid data [%s]", value);
}

int CColumn::GetDataInt(int& out) const {
  const char* value = ValueOf(*this);
  char* end = nullptr;
  out = static_cast<int>(zel_strtol(value, &end, 10));
  if (*end == '\0') return kOk;
  return KIVDB_FAIL(kInvalid, "GetDataInt Error: invalid data [%s]", value);
}

bool CColumn::isPrimaryKey() const { return m_primaryKey; }

char* CColumn::data() const { return m_data; }

const char* CColumn::name() const { return m_name.c_str(); }

}  // namespace KivDB
