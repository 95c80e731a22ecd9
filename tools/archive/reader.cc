// The archive library, reading, and the end of the archive, for which it takes
// the end of the file, too.

#include "archive/reader.h"

#include <archive.h>
#include <archive_entry.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "report.h"

namespace tool {
namespace {

constexpr std::int64_t kEndSize = 1024;  // two blocks of zero bytes
constexpr char kNotWhole[] = "no whole tar archive";

CArchiveEntry EntryOf(archive_entry* from) {
  CArchiveEntry entry;
  const char* path = archive_entry_pathname(from);
  entry.path = path != nullptr ? path : "";
  if (archive_entry_hardlink(from) == nullptr) {
    entry.mode = archive_entry_mode(from);
  }
  if (entry.IsDirectory() && entry.path.size() > 1 &&
      entry.path.back() == '/') {
    entry.path.pop_back();
  }
  entry.user = static_cast<uid_t>(archive_entry_uid(from));
  entry.group = static_cast<gid_t>(archive_entry_gid(from));
  entry.modified = archive_entry_mtime(from);
  entry.size = archive_entry_size(from);
  return entry;
}

}  // namespace

struct CArchiveReader::CCallback {
  static la_ssize_t Read(archive* archive, void* data, const void** bytes) {
    auto* const reader = static_cast<CArchiveReader*>(data);
    *bytes = reader->m_buffer.data();
    const std::ptrdiff_t size = reader->ReadPiece();
    const int error = errno;
    if (size < 0) {
      archive_set_error(archive, error, "%s",
                        WithError("cannot read", error).c_str());
    }
    return size;
  }
};

void CArchiveReader::Free::operator()(archive* archive) const {
  archive_read_free(archive);
}

CArchiveReader::CArchiveReader(int file, std::string name)
    : m_file(file), m_name(std::move(name)), m_archive(archive_read_new()) {
  archive* const from = m_archive.get();
  if (from == nullptr) throw std::bad_alloc();
  archive_read_support_format_tar(from);
  if (archive_read_open(from, this, nullptr, CCallback::Read, nullptr) !=
      ARCHIVE_OK) {
    EndArchive(from, m_name, kNotWhole);
  }
}

std::ptrdiff_t CArchiveReader::ReadPiece() {
  ssize_t size = 0;
  do {
    size = read(m_file, m_buffer.data(), m_buffer.size());
  } while (size < 0 && errno == EINTR);
  if (size <= 0) return size;
  const auto end = m_buffer.rend();
  const auto begin = end - size;
  const auto last = std::find_if(begin, end, [](char c) { return c != '\0'; });
  m_size += size;
  m_zeros = (last == end ? m_zeros : 0) + (last - begin);
  return size;
}

bool CArchiveReader::Next() {
  archive* const from = m_archive.get();
  archive_entry* next = nullptr;
  const int status = archive_read_next_header(from, &next);
  if (status == ARCHIVE_EOF) {
    RequireEnd();
    return false;
  }
  if (!IsHarmless(status, next)) EndArchive(from, m_name, kNotWhole);
  m_entry = EntryOf(next);
  return true;
}

void CArchiveReader::RequireEnd() {
  const std::int64_t begin = archive_read_header_position(m_archive.get());
  // Also so that whoever writes into a pipe is not cut off.
  while (const std::ptrdiff_t size = ReadPiece()) {
    if (size < 0) EndTrouble(m_name, WithError("cannot read", errno));
  }
  if (m_size - begin < kEndSize) {
    EndTrouble(m_name, std::string(kNotWhole) + ": its end is missing");
  }
  if (m_zeros < m_size - begin) {
    EndTrouble(m_name, std::string(kNotWhole) + ": there is more behind it");
  }
}

void CArchiveReader::EndSparse() const {
  EndTrouble(m_entry.path, std::string("a sparse file") + kNotHeld);
}

void CArchiveReader::ReadContent(
    const std::function<void(std::string_view piece)>& visit) {
  std::int64_t done = 0;
  int status = ARCHIVE_OK;
  while (status == ARCHIVE_OK) {
    const void* bytes = nullptr;
    std::size_t size = 0;
    la_int64_t offset = 0;
    status = archive_read_data_block(m_archive.get(), &bytes, &size, &offset);
    if (status != ARCHIVE_OK || size == 0) continue;
    if (offset != done) EndSparse();
    visit({static_cast<const char*>(bytes), size});
    done += static_cast<std::int64_t>(size);
  }
  if (status != ARCHIVE_EOF) {
    EndArchive(m_archive.get(), m_name, kNotWhole);
  }
  if (done != m_entry.size) EndSparse();
}

}  // namespace tool
