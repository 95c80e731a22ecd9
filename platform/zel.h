// The platform utility library, libzel: the operations of it that KivDB calls.
//
// This header is all that KivDB's sources see of the platform.  A host that
// has its own libzel links that one; platform/standin implements the same
// contracts for every other host.  Unless an operation says otherwise it may
// be called from any thread, throws nothing and leaves errno as the failing
// system call set it.

#ifndef PLATFORM_ZEL_H_
#define PLATFORM_ZEL_H_

#include <pthread.h>
#include <stddef.h>
#include <sys/types.h>

#include <string>

#define ZEL_EXPORT __attribute__((visibility("default")))
#define ZEL_PRINTF(text, first) __attribute__((format(printf, text, first)))

extern "C" {

// Log lines, printf style.  code is the status that the line reports.
ZEL_EXPORT void ErrorA(int code, const char* format, ...) ZEL_PRINTF(2, 3);
ZEL_EXPORT void InfoA(int code, const char* format, ...) ZEL_PRINTF(2, 3);

// Whether trace lines are wanted, and the writing of one.
ZEL_EXPORT bool TraceOn(void);
// NOLINTNEXTLINE(clang-diagnostic-reserved-identifier): the platform's name
ZEL_EXPORT void __Trace(const char* format, ...) ZEL_PRINTF(1, 2);

// Copies the value of key in section into out, cut to size bytes with the
// terminator, or fallback (null: the empty text) when the file has no such
// key.  Returns the length of the whole value, which may be size or more, and
// 0 or less when there is no value.  The result is -1, with nothing delivered,
// for a file that cannot be read to its end.
//
// With section and key both null, out receives the names of the sections in
// file order, each ended by a NUL and the last followed by an empty name; the
// result is the length of that list in bytes, its last NUL included, or 0 for
// a file without sections.  A list longer than size is cut after a whole name.
ZEL_EXPORT int InifileGetValueA(const char* section, const char* key, char* out,
                                unsigned int size, const char* fallback,
                                const char* inifile);

// Takes the next token of the writable text at *cursor: ends it by writing a
// NUL over the first separator and moves *cursor past that, or sets *cursor to
// null when the text holds no further separator.  Null when *cursor is null or
// points at an empty text.  Tokens may be empty; a trailing separator gives
// none.  With the separator NUL it walks names that are each ended by a NUL,
// up to an empty one.
ZEL_EXPORT char* StringGetNextA(char** cursor, char separator);

// Writes input into output with its escape sequences undone, cut to capacity
// bytes with the terminator.  Returns output.  What KivDB escapes is undone:
// "\\", "\n", "\r", "\t" and "\xHH".
ZEL_EXPORT char* StringUnescapeA(const char* input, char* output,
                                 size_t capacity);

// Replaces every occurrence of pattern in buffer, in place.  Returns buffer,
// or null with the buffer unchanged when the result does not fit in size bytes.
ZEL_EXPORT char* StringFindAndReplaceA(char* buffer, size_t size,
                                       const char* pattern,
                                       const char* replacement);

// Writes a text that identifies the bytes into out and returns its length.
// The same bytes give the same text on every machine.
ZEL_EXPORT int FingerprintFromData(const void* data, size_t length, char* out,
                                   size_t outsize, int kind);

// Makes a directory and its missing parents; an existing one is a success.
ZEL_EXPORT bool CreateTreeA(const char* path, mode_t mode);

// Removes a directory with all that it holds and never follows a symbolic
// link.  False with errno set on failure, ENOENT when there is no such path.
ZEL_EXPORT bool DeleteTreeA(const char* path);

// Writes the whole buffer; returns the number of bytes written, which is less
// than length, or -1, after an error.
ZEL_EXPORT ssize_t safe_write(int fd, const void* buffer, size_t length);

// Forces a file to disk; -1 on failure.
ZEL_EXPORT int safe_fsync(int fd);

// Renames from to to and forces their directory to disk; -1 on failure.
ZEL_EXPORT int rename_dirfsync(const char* from, const char* to,
                               const char* directory, int flags);

// Bounded copies: at most size - 1 bytes, always terminated, and not more than
// count bytes of the source in the second form.  Both return destination.
ZEL_EXPORT char* zelstrcpy(char* destination, const char* source, size_t size);
ZEL_EXPORT char* zelstrncpy(char* destination, const char* source, size_t size,
                            size_t count);

// As access and strtol of the system.
ZEL_EXPORT int zel_access(const char* path, int mode);
ZEL_EXPORT long zel_strtol(const char* text, char** end, int base);

// Character classes of the bytes below 0x80; kZelWhiteSpace marks the blanks.
ZEL_EXPORT extern const unsigned char zelascii_ctype_table[128];

// Names of the host's configured values, by the indexes below.
// NOLINTBEGIN(clang-diagnostic-reserved-identifier): the platform's names
ZEL_EXPORT extern const char* const _zel_config_section_string_table_[];
ZEL_EXPORT extern const char* const _zel_config_entry_string_table_[];
// NOLINTEND(clang-diagnostic-reserved-identifier)

}  // extern "C"

enum : unsigned char { kZelWhiteSpace = 0x10 };

enum ZelConfigSection : int { kZelSectionStorageDatabase = 0 };
enum ZelConfigEntry : int { kZelEntryPath = 0 };

// The host's configuration: an ini file and the lock that guards its use.
class ZEL_EXPORT ConfigClass {
 public:
  explicit ConfigClass(const char* inifile);
  ~ConfigClass();
  ConfigClass(const ConfigClass&) = delete;
  ConfigClass& operator=(const ConfigClass&) = delete;

  pthread_mutex_t* mutex();
  const char* inifile() const;

 private:
  pthread_mutex_t m_mutex;
  std::string m_inifile;
};

#endif  // PLATFORM_ZEL_H_
