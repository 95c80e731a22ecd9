// Reading a file in pieces and counting its values.

#include "check/content.h"

#include <fcntl.h>
#include <kivdb/escape.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "descriptor.h"
#include "report.h"
#include "store.h"

namespace tool {
namespace {

constexpr std::size_t kBuffer = std::size_t{64} * 1024;
// More than an escape takes for each of them: a value that long is too long.
constexpr std::size_t kStoredMax = 4 * kValueMax + 1;
constexpr std::size_t kShown = 40;  // bytes of a value

bool IsTooLong(const std::string& stored) {
  if (stored.size() <= kValueMax) return false;
  return stored.size() >= kStoredMax ||
         KivDB::Unescape(stored).size() > kValueMax;
}

bool IsInRange(const CField& field, std::int64_t number) {
  using Limits = std::numeric_limits<std::int32_t>;
  return field.type == "bigint" ||
         (number >= Limits::min() && number <= Limits::max());
}

// As hosts read it: blanks before it, a "+" and leading zeros do no harm.
bool IsNumber(const CField& field, const std::string& stored) {
  const char* const end = stored.data() + stored.size();
  std::int64_t number = 0;
  const auto [rest, error] = std::from_chars(stored.data(), end, number);
  if (error == std::errc() && rest == end) return IsInRange(field, number);
  const std::string value = KivDB::Unescape(stored);
  char* stop = nullptr;
  errno = 0;
  number = std::strtoll(value.c_str(), &stop, 10);
  return stop != value.c_str() && *stop == '\0' && errno == 0 &&
         IsInRange(field, number);
}

}  // namespace

void RequireResources(const std::string& where, int error) {
  if (error == EMFILE || error == ENFILE || error == ENOMEM) {
    EndTrouble(where, WithError("cannot read", error));
  }
}

std::string CContent::Fault() const {
  if (!isRegular) return "no regular file";
  if (error != 0) return strerror(error);
  return isEmpty ? "empty" : Count();
}

std::string CContent::Count() const {
  return std::to_string(values) + " of " + std::to_string(wanted) + " values";
}

CContentReader::CContentReader(const CSchema& schema, bool hasError)
    : m_columns(schema.columns), m_hasError(hasError), m_buffer(kBuffer) {}

const CContent& CContentReader::Look(int directory, const std::string& name) {
  struct stat status {};
  const bool isThere =
      fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
  const int error = isThere ? 0 : errno;
  if (isThere && S_ISREG(status.st_mode)) {
    Read(directory, name);
  } else {
    m_content = {};
    m_content.error = error;
  }
  m_content.written = status.st_mtim;
  return m_content;
}

const CContent& CContentReader::Read(int directory, const std::string& name) {
  m_content = {};
  m_content.wanted = m_columns.empty() ? 0 : m_columns.size() - 1;
  m_value.clear();
  m_last = 0;
  m_hasNul = m_isCut = m_isBehind = m_hasMore = false;
  ReadFile(directory, name);
  RequireResources(name, m_content.error);
  if (m_content.isRegular && m_content.error == 0) EndLine();
  return m_content;
}

void CContentReader::ReadFile(int directory, const std::string& name) {
  const CDescriptor file = OpenQuietly(directory, name, O_NOFOLLOW);
  struct stat status {};
  if (!file.isOpen() || fstat(file.get(), &status) != 0) {
    const bool isOdd = errno == ELOOP || errno == ENXIO;  // a link, a socket
    m_content.error = isOdd ? 0 : errno;
    m_content.isRegular = !isOdd;
    return;
  }
  m_content.isRegular = S_ISREG(status.st_mode);
  m_content.written = status.st_mtim;
  const off_t size = m_content.isRegular ? status.st_size : 0;
  for (off_t done = 0; done < size;) {
    const ssize_t length = read(file.get(), m_buffer.data(), m_buffer.size());
    if (length < 0 && errno == EINTR) continue;
    if (length < 0) m_content.error = errno;
    if (length <= 0) return;
    Scan({m_buffer.data(), static_cast<std::size_t>(length)});
    done += length;
  }
}

void CContentReader::Scan(std::string_view piece) {
  m_last = piece.back();
  m_hasNul = m_hasNul || piece.find('\0') != piece.npos;
  if (m_isBehind) {
    m_hasMore = true;
    return;
  }
  const std::size_t feed = piece.find('\n');
  if (feed != piece.npos) {
    m_isBehind = true;
    m_hasMore = feed + 1 < piece.size();
  }
  ScanLine(piece.substr(0, feed));
}

// Takes values as far as the library reads.
void CContentReader::ScanLine(std::string_view text) {
  if (!text.empty()) m_content.isEmpty = false;
  if (m_isCut) return;
  const std::size_t nul = text.find('\0');
  m_isCut = nul != text.npos;
  text = text.substr(0, nul);
  while (!text.empty()) {
    const std::size_t bar = std::min(text.find('|'), text.size());
    m_value.append(text.substr(0, std::min(bar, kStoredMax - m_value.size())));
    if (bar == text.size()) return;
    EndValue();
    text.remove_prefix(bar + 1);
  }
}

void CContentReader::EndValue() {
  const std::size_t place = ++m_content.values;
  if (place < m_columns.size() && !m_hasError) {
    const CField& column = m_columns[place];
    if (IsTooLong(m_value)) {
      Doubt(column.name + " has over " + std::to_string(kValueMax) + " bytes");
    } else if (column.IsNumber() && !m_value.empty() &&
               !IsNumber(column, m_value)) {
      Doubt(column.name + " is no " + column.type + ": \"" +
            m_value.substr(0, kShown) + "\"");
    }
  }
  m_value.clear();
}

void CContentReader::EndLine() {
  const bool isReturn = m_content.values >= m_content.wanted && m_value == "\r";
  if (!m_value.empty() && !isReturn) EndValue();
  m_content.isComplete = m_last == '|' && !m_hasNul;
  if (m_content.values > m_content.wanted && !m_hasError) {
    Doubt(std::to_string(m_content.values) + " values, not " +
          std::to_string(m_content.wanted));
  }
  if (m_hasMore) Doubt("more than one line");
  if (m_hasNul) Doubt("a byte 0");
}

void CContentReader::Doubt(const std::string& what) {
  m_content.doubts += (m_content.doubts.empty() ? "" : "; ") + what;
}

}  // namespace tool
