// A database: the tables below one root directory.

#ifndef KIVDB_DATABASE_H_
#define KIVDB_DATABASE_H_

#include <kivdb/export.h>
#include <kivdb/table.h>

#include <string>
#include <vector>

class ConfigClass;  // the platform's configuration object

namespace KivDB {

class CCreationFile;
class CFileLock;

// The database of a process.  It owns its tables and gives them out by name:
//
//   CKivDatabase* database = CKivDatabase::Instance();
//   if (database->open("/var/lib/host") == kNoSchemaDirectory) {
//     database->Create("host.ini", 1, nullptr);  // fills an empty root
//     database->open();
//   }
//   CTable* table = database->GetTable("hosts");
//   ...
//   CKivDatabase::Delete();
//
// Results are the codes of <kivdb/status.h>; kNoMemory (logged) is possible
// where memory is needed.  A null text is the empty one unless it gives
// kInvalid (logged as "invalid parameter") by the operation's comment.  A table
// name that is empty, ".", ".." or holds "/" names no table, and nothing is
// made for it. Nothing that was done is undone by a later failure.
//
// Threads: there is no mutex for the database.  The host opens it, creates it
// and changes its set of tables while no other thread uses it, and deletes it
// when all have stopped; GetTable may then be called from any thread.
//
// Processes: writing a schema file and dropping a table hold the lock of the
// schema directory (see <kivdb/lock.h>); opening holds it shared, waiting for
// 100 ms at most.  Create and drop as a whole hold none.
class KIVDB_EXPORT CKivDatabase {
 public:
  // A database of the caller's own; most hosts use Instance.
  CKivDatabase();
  CKivDatabase(const CKivDatabase&) = delete;
  CKivDatabase& operator=(const CKivDatabase&) = delete;
  ~CKivDatabase();

  // The database of the process, made at the first call; null when there is no
  // memory (logged).  Delete ends it with all its tables, and the next
  // Instance makes a new one.  Both are safe in several threads at once.
  static CKivDatabase* Instance();
  static void Delete();

  // Opens every table that the root's schema directory names.  The forms with
  // an argument first set the root: to path, cut to 4094 characters, or to the
  // value that config names, whose lock is taken and released before; the root
  // stays set when the opening fails.  A database that has been opened counts
  // as open for good: the result is then kOk, no directory is looked at, not
  // even after drop or Create, and its tables stay those of the old root.
  //
  // Returns kOk; kInvalid (logged) for an empty root, a null config or one
  // without a root; kNoSchemaDirectory when the schema directory cannot be
  // opened or read; or the result of CTable::Open for the first table that
  // fails: the tables before it are registered then, and a later open goes on.
  // When that one sets another root, written differently, they are destroyed.
  int open(const char* path);
  int open();
  int open(ConfigClass* config);

  // The table of that name or null.  The database keeps it; it is valid until
  // it is dropped or the database is deleted.
  CTable* GetTable(const char* name);

  // Adds a table to the root, on disk and in memory.  columns lists its
  // columns, "name(type),name(type)", with the types int and varchar; all
  // blanks in it are ignored.
  //
  // Returns kOk: the table is on disk, but for its directory where that cannot
  // be made (see createTableF).  kInvalid (logged) when there is a table
  // of that name or columns is null; kSyntax or kUnknownType for malformed
  // columns, with nothing made; kSchemaUnreadable (logged) when the schema file
  // cannot be opened for writing; or the result of CTable::Open (logged), with
  // file and directory left on disk.  On a full disk the schema line is cut:
  // the result is kEmptySchema, or kOk with the columns that are left.
  int AddTable(const char* name, const char* columns);

  // Adds a table unless there is one of that name: kOk then, and the ini file
  // is not looked at.  The schema line is the value of the key "schema" in the
  // section of the table's name; bigint columns are possible.
  //
  // Returns kOk; kNoRecord (logged) when there is no such value; kInvalid
  // (logged) for a null inifile; or as AddTable.
  int CheckAddTable(const char* name, const char* inifile);

  // Writes the schema file of a table: the line and its fingerprint, in place
  // and not forced to disk.  Returns kOk, also when the disk was full;
  // kSchemaUnreadable (logged) when the file cannot be opened or the schema
  // directory's lock is not had; kInvalid (logged) for a null schema.
  int createSchemaF(const char* name, const char* schema);

  // Makes the directory of a table, not forced to disk; always kOk.
  int createTableF(const char* name);

  // Fills the root with the tables and first records of a creation file, on
  // disk only and forced there: open registers them.  The first section of the
  // file is skipped. Every other is a table, with the key "schema" and the
  // records "rec_1", "rec_2" and so on up to the first that is missing; they
  // are added with addRecord, the id in front.  In them {{$kivid}} stands for
  // id (1 when it is 0), {{$kivhost}} for host (the loopback address when it is
  // null or empty; at most 1023 bytes) and {{$kivversion}} for 1.0.  A schema
  // line is cut to 2047 bytes and a record to 4094.
  //
  // Returns kOk; kInvalid (logged) for an empty root, a null or missing file or
  // a directory that cannot be made; kNoRecord for a file without sections,
  // that cannot be read or whose list of sections grows meanwhile (logged), or
  // for a section without a schema (not logged); or the result of createSchemaF
  // or insertRecordsFromIni.  The tables before a failure are complete.
  int Create(const char* inifile, int id, const char* host);

  // Adds the records of one section to its table, whose schema file exists.
  // A file that cannot be read has none.
  //
  // Returns kOk; kNoReplacement (logged) when a record with its placeholders
  // replaced is longer than 4094 bytes; kInvalid (logged) for a null inifile;
  // or the result of CTable::Open or addRecord.
  int insertRecordsFromIni(const char* name, const char* inifile);

  // Drops an empty table of this database: removes its directory and its schema
  // file.  The form with a name also destroys the table object, and every
  // pointer to it is void then; the form with a pointer leaves it registered.
  //
  // Returns kOk; kNotFound when there is no table of that name; kNotEmpty when
  // it has records, they cannot be counted or its lock is not had; kInvalid for
  // a null pointer, or when the schema directory's lock is not had, or the
  // directory, which a marker entry keeps, or the schema file cannot be
  // removed. All are logged.
  int DropTable(CTable* table);
  int DropTable(const char* name);

  // Clears and drops every table, then deletes all that the database has below
  // its root, tables that were never opened included; the root stays.  Symbolic
  // links are removed and not followed, but a table directory of the tables
  // opened that is itself a link: the directory it leads to is emptied, and the
  // drop then fails.
  //
  // Returns kOk; kNotClearable when a table directory cannot be opened;
  // kNotEmpty when one holds a directory; kInvalid for an empty root, for one
  // so long that a path below it would be cut, with nothing removed, or when
  // something cannot be removed.  All are logged.  What was dropped before a
  // failure stays dropped.
  int drop();

  // Recovers every table; stops at the first that fails and returns its result.
  // See CTable::recover.
  int recover();

 private:
  KIVDB_LOCAL void SetRoot(const char* root);
  KIVDB_LOCAL bool RequireRoot() const;
  KIVDB_LOCAL int RegisterTables();
  KIVDB_LOCAL int OpenTable(const char* name);
  KIVDB_LOCAL void DestroyTables();
  KIVDB_LOCAL void Forget(CTable* table);
  KIVDB_LOCAL int MakeTable(const char* name, const char* schema,
                            bool logsCode);
  KIVDB_LOCAL int LockSchemas(CFileLock& lock, const char* name) const;
  KIVDB_LOCAL void SyncTable(const char* name) const;
  KIVDB_LOCAL void SetHost(const char* host);
  KIVDB_LOCAL int MakeTree(const char* directory);
  KIVDB_LOCAL int CreateTables(const char* inifile);
  KIVDB_LOCAL int CreateTable(const char* name, const CCreationFile& file);
  KIVDB_LOCAL int InsertRecords(CTable& table, const CCreationFile& file);
  KIVDB_LOCAL int RemoveDirectory(CTable* table);
  KIVDB_LOCAL int RefuseCutPaths() const;

  KIVDB_LOCAL static CKivDatabase* m_instance;

  char m_path[4095];  // the root
  bool m_opened;
  std::vector<CTable*> m_tables;  // owned
  int m_tableCount;               // of m_tables; nothing reads it
  int m_id;                       // of the database, and the host: see Create
  char m_host[1024];
};

}  // namespace KivDB

#endif  // KIVDB_DATABASE_H_
