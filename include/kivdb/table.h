// A table: a directory of record files, and the schema that they follow.

#ifndef KIVDB_TABLE_H_
#define KIVDB_TABLE_H_

#include <dirent.h>
#include <kivdb/column.h>
#include <kivdb/dir_iterator.h>
#include <kivdb/export.h>
#include <pthread.h>

#include <string>
#include <vector>

namespace KivDB {

class CCondition;
class CSharedLock;
class CStoredFields;
class CTextBuffer;
enum class ReadResult;
enum class Source;

// One table of a database root.  Records are files of the directory
// ROOT/kiv/database/NAME, each named by its id; the schema is the file
// ROOT/kiv/schema/NAME.  The first column is the id and is in no file.
//
// A table holds one current record, in its own columns: every operation that
// reads a record replaces their values.  Nothing else is kept between calls.
//
// Results are the codes of <kivdb/status.h>.  A table without a mutex gives
// kInvalid, records -1 and IsDir false (logged) in every operation that locks,
// but a listing or lookup looks for the directory first: kNotFound where it
// cannot be opened.  kNoMemory is possible where memory is needed.  A null id,
// record text or update text gives kInvalid (logged).  An id that is empty or
// "." or "..", or that holds "/", names no record, and neither does one whose
// path is longer than 4094 characters.
//
// Threads and processes: operations that say so hold the table's mutex for
// their own span, and copies of a table share it.  addRecord, updateRecord,
// deleteRecord, recover and clear hold the table's lock as well, which keeps
// out other processes and tables made without copying (see <kivdb/lock.h>);
// they give kInvalid (logged) when they do not get it within LockWait()
// milliseconds.
//
// The values of the current record are not locked between calls, and a table
// has one cursor: run at most one of ListRecords*, GetRecord, the GetVal* by
// id, records, get_max_id, addRecord with an id pointer, recover and clear at a
// time on one table object (calls of addRecord among themselves may overlap).
// Construction, copying, assignment, destruction and Open need the table for
// themselves.  A thread may be cancelled in any operation; it leaves no lock,
// descriptor or memory behind.
class KIVDB_EXPORT CTable {
 public:
  // No name, no columns and no mutex: of use only to assign to.
  CTable();

  // A table of this name below root, to be opened with Open.  Creates the
  // mutex; null texts are empty.
  CTable(const char* root, const char* name);

  // Copies name, paths and columns with their values, and shares the mutex,
  // which lives until the last table that uses it is gone.  A value for which
  // there is no memory is missing in the copy (logged); where memory runs out
  // otherwise, an assignment leaves the table as it was (logged).  An
  // assignment ends all column pointers.  It leaves the table's cursor as it
  // was: a listing goes on with the names of the old directory and reads the
  // records of these names in the new one.
  CTable(const CTable& other);
  CTable& operator=(const CTable& other);
  ~CTable();

  // The table's name, which the table keeps.
  const char* name() const;

  // Builds the paths and loads the schema; may be called again to reload it,
  // which ends all column pointers.  The form with a name renames the table
  // first, whatever follows.  The table directory is not looked at.
  //
  // Returns kOk; kNoSchema when there is no schema file, or when the name is
  // empty, ".", ".." or holds "/", with the columns unchanged;
  // kSchemaUnreadable or kEmptySchema, with no columns; kNoMemory when there is
  // none for the name, with nothing changed, or for the schema line, with no
  // columns; kSchemaUnreadable when there is none for a column, with the
  // columns before it.  All are logged.  A malformed column spec ends the
  // schema: the columns before it are kept and the result is kOk.
  //
  // Holds the mutex while it loads the schema.
  int Open();
  int Open(const char* name);

  // Replaces the columns by those of a schema file; a null path is the empty
  // one, which cannot be opened.  Results as Open's from kSchemaUnreadable on,
  // but lack of memory is always kNoMemory.  Takes no lock: the caller sees to
  // it that nobody else uses the table.
  int readSchema(const char* path);

  // Reads the record into the table's columns.
  //
  // Returns kOk; kRecordUnreadable when the file cannot be opened or read, or
  // kBadRecord when its first line is empty, with the columns unchanged;
  // kBadRecord when it has too few fields: the columns before the missing ones
  // are set then.  All are logged.
  //
  // Takes no mutex.  A save has a moment without the record's file: a record
  // that is missing is looked for again under the lock, which takes 100 ms at
  // most.
  int readRecord(const char* id);

  // The column of that name, or null.  The table keeps it until its schema is
  // loaded again.
  CColumn* getcolumn(const char* name);

  // Gets the value of a column of the current record; conversions and results
  // are those of CColumn's getters, or kNoColumn (logged as information, the
  // output untouched).  They take no lock and read no file.
  int GetValStr(const char* key, char* buf, unsigned int size);
  int GetValInt(const char* key, int& out);
  int GetValBigInt(const char* key, long& out);

  // Makes the record current as GetRecord does and gets a value of it.
  int GetValStr(const char* id, const char* key, char* buf, unsigned int size);
  int GetValInt(const char* id, const char* key, int& out);
  int GetValBigInt(const char* id, const char* key, long& out);

  // Starts a listing and makes the first record that meets the condition
  // current.  A condition is a list "key=value,key=value" of column names and
  // values, compared as texts, that must all hold; null selects every record.
  // Blanks in keys and around values are ignored, and a value may be escaped as
  // in a record file.  The list ends at its first pair that is empty or has no
  // "="; without a pair before that, and for a key that is no column, no record
  // meets it.
  //
  // Returns kOk, kNoRecord when no record meets the condition, kNotFound when
  // the table directory cannot be opened or read.  A record that cannot be read
  // is logged and skipped, and so is an entry whose name contains ".ADD" or
  // ".UPDATE"; one for whose line there is no memory is skipped without a log
  // line.  The temporary file of a save at work is no record.  Records come in
  // the order of the directory.
  //
  // Holds the mutex for this step only.  Start waits for a change by another
  // process, for 100 ms at most, so that the names it reads at once, about a
  // thousand, are those of one moment; of later ones, some may be missing that
  // are saved meanwhile.
  int ListRecordsStart(const char* condition);

  // Makes the next record of the listing current.  The condition is not kept:
  // pass it again.  Returns kOk, kNoRecord at the end and before any listing,
  // or kNotFound when the directory cannot be read on.
  int ListRecordsNext(const char* condition);

  // As above; on kOk columns is set to the table's own columns.  The table
  // keeps them, and its next read changes their values.
  int ListRecordsStart(std::vector<CColumn*>& columns, const char* condition);
  int ListRecordsNext(std::vector<CColumn*>& columns, const char* condition);

  // Whether the current record meets the condition.  False for null (logged as
  // information) and for a condition without a pair.  Takes no lock.
  bool MatchColumn(const char* condition);

  // Makes the record whose column "id" holds this id current, by a listing with
  // the condition "id=" and the id, cut to 254 bytes: blanks, commas and
  // escapes in the id count as in any condition.  It reads record after record
  // until it is found.  Use readRecord for speed. Results and columns are those
  // of ListRecordsStart.
  int GetRecord(const char* id, std::vector<CColumn*>& columns);

  // Counts the entries of the table directory that can be records; opens none.
  // -1 when the directory cannot be opened or read, or without a mutex.  Holds
  // the mutex, waits for a change by another process for 100 ms at most, and
  // ends a listing.
  int records();

  // The highest number that an entry's name begins with, 0 for none, or
  // 4294967295 when the directory cannot be opened or read.  Takes no lock and
  // ends a listing.
  unsigned int get_max_id();

  // Whether a walk over a table directory should skip the entry: "." and "..",
  // and with flag false also names that contain ".ADD" or ".UPDATE" (logged).
  bool is_ignorable_file(const char* name, bool flag);

  // Whether the entry of the directory path is itself a directory; false
  // without a mutex (logged).  Holds the mutex.
  bool IsDir(const dirent* entry, const char* path);

  // Adds a record.  text holds its fields, separated by ","; blanks around a
  // field are removed, and it is cut to 2047 bytes, escapes counted.  Nothing
  // is escaped: a value may hold ",", "|" or "=" as an escape that reading
  // undoes.
  //
  // With a null id the first field is the id, 0 for what is no number, and a
  // record that has it is replaced; maxId is ignored.  Otherwise all fields are
  // values, and the new id, one above the highest in the table, is stored in
  // *id before the record is written; maxId bounds it unless it is 0.  So the
  // id of a record that was the highest when it was deleted is given again.
  //
  // Returns kOk: the record is on disk.  kSyntax when the number of fields is
  // not that of the columns, or a value holds a line feed; kIdAboveMaximum,
  // with *id unchanged; kInvalid when the directory cannot be read, the name is
  // none of a table, or the record cannot be saved (safe_save tells what is on
  // disk then).  All are logged.
  //
  // Holds mutex and lock; with an id pointer it ends a listing.
  int addRecord(const char* text, int* id, unsigned int maxId);

  // Writes length bytes to the file at path, which has at most 4090 characters:
  // first whole and synced to path.tmp, which then replaces the file.  Returns
  // 0 or -1 (logged), also for a null path or content.  After a failure, or a
  // crash, path is complete until path.tmp is; but a path.tmp that an earlier
  // save left without its path is overwritten at once, and passes its mode on.
  //
  // Takes no lock: the caller sees to it that nobody else writes the record.
  int safe_save(const char* path, const char* content, int length);

  // Changes values of a record.  text is a list "key=value,key=value": blanks
  // in keys and around values are removed, the value is all behind the first
  // "=", and a key alone stands for the empty value.  What the text does not
  // name stays as it is stored, byte for byte.  The id cannot be changed.
  //
  // Returns kOk: the record is on disk and current, with the named values as
  // they were given.  kNotFound when there is no such record; kSyntax for an
  // empty piece, a key that is no column, a value with a line feed inside, or
  // a table without columns; kInvalid when the record cannot be saved (see
  // safe_save); or as readRecord.
  // All are logged.  After a failure the record is unchanged unless saving it
  // failed; the columns keep what was applied.
  //
  // Holds mutex and lock from the look for the record to its save.
  int updateRecord(const char* id, const char* text);

  // Applies such a text to the current record, in memory only.  text is from
  // malloc and freed in every case.  Returns kOk, kSyntax, or kNoMemory, also
  // for null; all are logged.  Takes no lock.
  int update_col(char* text);

  // Saves the current record to the file at path; values are written as they
  // read, without escapes.  Returns kOk, kSyntax for a value with a line feed,
  // or kInvalid as updateRecord and for a null path; all are logged.
  // Takes no lock: the caller sees to it that nobody else uses the table.
  int update(const char* path);

  // Removes the record's file.  Returns kOk, also when there is none or it
  // cannot be removed.  Holds mutex and lock.
  int deleteRecord(const char* id);

  // Removes every entry whose name contains ".ADD" or ".UPDATE" from the table
  // directory; temporary files stay.  Returns kOk, also when some could not be
  // removed, or kNotFound when the directory cannot be opened or read (not
  // logged).  Holds mutex and lock, and ends a listing.
  int recover();

  // Removes every file from the table directory, records and others; the table
  // stays and is empty.  A directory in it stays, too.  Returns kOk, or
  // kNotClearable when the table directory cannot be opened or read (not
  // logged).  Holds mutex and lock, and ends a listing.
  int clear();

 private:
  friend class CListing;
  friend class CTableLock;

  KIVDB_LOCAL void Assign(const CTable& other);
  KIVDB_LOCAL void DeleteColumns();
  KIVDB_LOCAL bool RequireMutex() const;
  KIVDB_LOCAL bool BuildPaths();
  KIVDB_LOCAL void SetPaths(const char* table, const char* schema);
  KIVDB_LOCAL int LoadSchemaGuarded();
  KIVDB_LOCAL int LoadSchema(const char* path);
  KIVDB_LOCAL void AddColumns(char* specs);
  KIVDB_LOCAL int LoadRecord(const char* id, Source source,
                             CStoredFields& fields);
  KIVDB_LOCAL ReadResult ReadStored(const char* id, Source source,
                                    CStoredFields& fields);
  KIVDB_LOCAL int SetValues(const char* id, CStoredFields& fields);
  KIVDB_LOCAL std::vector<CColumn*>::const_iterator FindColumn(
      const char* key) const;
  KIVDB_LOCAL int FindRecord(const char* id);
  KIVDB_LOCAL int Step(const char* condition, bool isFirst);
  KIVDB_LOCAL int StepTo(const CCondition* condition, bool isFirst);
  KIVDB_LOCAL int ScanForMatch(const CCondition* condition, CSharedLock* names);
  KIVDB_LOCAL bool IsSaveAtWork(const char* name) const;
  KIVDB_LOCAL const char* RecordOf(const char* name, char* saved,
                                   std::size_t size) const;
  KIVDB_LOCAL int HandOut(std::vector<CColumn*>& columns) const;
  KIVDB_LOCAL bool OpenCursor();
  KIVDB_LOCAL bool FindHighestId(unsigned int& highest);
  KIVDB_LOCAL int AllocateId(unsigned int maxId, int& id);
  KIVDB_LOCAL int SaveNumbered(const char* directory, int id,
                               const CTextBuffer& content);
  KIVDB_LOCAL int SaveRecord(const char* path, const CTextBuffer& content);
  KIVDB_LOCAL int MergeAndSave(const char* path, const CStoredFields& fields,
                               const char* text);
  KIVDB_LOCAL int ApplyUpdate(char* text, std::vector<bool>* named);
  KIVDB_LOCAL int RemoveEntries(bool (*isChosen)(const char* name),
                                int failure);

  std::string m_name;
  std::vector<CColumn*> m_columns;  // owned
  CDirIterator m_dirIterator;       // the cursor
  char m_tablePath[4096];           // empty until opened
  char m_schemaPath[4096];
  std::string m_dbPath;
  pthread_mutex_t* m_mutex;  // counted: see shared_mutex.h
  bool m_ownMutex;           // whether this table made it; nothing reads that
  bool m_cursorIsOwn;        // the cursor is that of m_tablePath
};

}  // namespace KivDB

#endif  // KIVDB_TABLE_H_
