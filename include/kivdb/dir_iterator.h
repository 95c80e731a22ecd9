// A walk over the entries of a directory.

#ifndef KIVDB_DIR_ITERATOR_H_
#define KIVDB_DIR_ITERATOR_H_

#include <dirent.h>
#include <kivdb/export.h>

#include <string>

namespace KivDB {

// Owns one open directory stream.  Entries come in the order of the file
// system, "." and ".." among them; nothing is filtered and nothing logged.  On
// a closed iterator every operation but open does nothing.
//
// Used by one thread at a time.
class KIVDB_EXPORT CDirIterator {
 public:
  CDirIterator();

  // Keeps the path for open() and opens nothing.
  explicit CDirIterator(const std::string& path);
  CDirIterator(const CDirIterator&) = delete;
  CDirIterator& operator=(const CDirIterator&) = delete;
  ~CDirIterator();

  // Closes an open stream and opens the constructor's path, or the given one,
  // which is not kept.  Returns 0, or -1 with errno set: the iterator is closed
  // then.
  int open();
  int open(const std::string& path);

  void close();

  // The next entry, valid until the next operation on this iterator.  Null at
  // the end and when closed, with errno 0, and when the directory cannot be
  // read on, with errno set.
  dirent* read();

  // Stores the next entry in *entry and sets *result to entry, or to null at
  // the end.  Returns 0 or an error number.  When closed: 0, *result untouched.
  int read(dirent* entry, dirent** result);

  // Goes back to the first entry; goes to a position that tell gave; tells the
  // position of the next entry (0 when closed).
  void rewind();
  void seek(long position);
  long tell();

 private:
  friend class CTable;  // opens record files below the open directory

  KIVDB_LOCAL int OpenStream(const char* path);
  KIVDB_LOCAL int Descriptor() const;

  std::string m_path;
  DIR* m_dir;
};

}  // namespace KivDB

#endif  // KIVDB_DIR_ITERATOR_H_
