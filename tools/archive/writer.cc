// The archive library, writing.

#include "archive/writer.h"

#include <archive.h>
#include <archive_entry.h>

#include <cerrno>
#include <new>
#include <utility>

#include "report.h"

namespace tool {
namespace {

struct FreeEntry {
  void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};
using Entry = std::unique_ptr<archive_entry, FreeEntry>;

Entry MakeEntry(const CArchiveEntry& from) {
  Entry entry(archive_entry_new());
  if (!entry) throw std::bad_alloc();
  archive_entry_copy_pathname(entry.get(), from.path.c_str());
  archive_entry_set_mode(entry.get(), from.mode);
  archive_entry_set_uid(entry.get(), from.user);
  archive_entry_set_gid(entry.get(), from.group);
  archive_entry_set_mtime(entry.get(), from.modified, 0);
  archive_entry_set_size(entry.get(), from.size);
  return entry;
}

}  // namespace

// The archive library leaks after a failure, so it is told of none.
struct CArchiveWriter::CCallback {
  static la_ssize_t Write(archive* /*archive*/, void* data, const void* bytes,
                          std::size_t size) {
    auto* const writer = static_cast<CArchiveWriter*>(data);
    const std::string_view view(static_cast<const char*>(bytes), size);
    if (writer->m_error == 0 && !writer->m_sink(view)) {
      writer->m_error = errno;
    }
    return static_cast<la_ssize_t>(size);
  }
};

void CArchiveWriter::Free::operator()(archive* archive) const {
  archive_write_free(archive);
}

CArchiveWriter::CArchiveWriter(std::string name, Sink sink)
    : m_name(std::move(name)),
      m_sink(std::move(sink)),
      m_archive(archive_write_new()) {
  archive* const to = m_archive.get();
  if (to == nullptr) throw std::bad_alloc();
  archive_write_set_format_pax_restricted(to);
  archive_write_set_bytes_in_last_block(to, 1);  // nothing behind the end
  Require(archive_write_open2(to, this, nullptr, CCallback::Write, nullptr,
                              nullptr) == ARCHIVE_OK,
          "cannot begin");
}

// Freeing the archive ends it.
CArchiveWriter::~CArchiveWriter() { m_error = ECANCELED; }

void CArchiveWriter::Require(bool isDone, const std::string& what) const {
  if (m_error != 0) EndTrouble(m_name, WithError("cannot write", m_error));
  if (!isDone) EndArchive(m_archive.get(), m_name, what);
}

void CArchiveWriter::Write(const CArchiveEntry& entry,
                           std::string_view content) {
  archive* const to = m_archive.get();
  const Entry header = MakeEntry(entry);
  Require(IsHarmless(archive_write_header(to, header.get()), header.get()),
          entry.path);
  const auto size = static_cast<la_ssize_t>(content.size());
  Require(archive_write_data(to, content.data(), content.size()) == size,
          entry.path);
  Require(archive_write_finish_entry(to) == ARCHIVE_OK, entry.path);
  m_sum.Begin(entry);
  m_sum.Add(content);
}

void CArchiveWriter::Finish() {
  Require(archive_write_close(m_archive.get()) == ARCHIVE_OK, "cannot end");
}

}  // namespace tool
