// SQLite, one transaction for each operation that is durable.

#include <sqlite3.h>

#include <algorithm>
#include <sstream>

#include "contestant.h"

namespace bench {
namespace {

// A prepared statement, used again and again.
class CStatement {
 public:
  CStatement(sqlite3* database, const char* sql) {
    sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT,
                       &m_statement, nullptr);
    Require(m_statement != nullptr, sqlite3_errmsg(database));
  }
  ~CStatement() { sqlite3_finalize(m_statement); }
  CStatement(const CStatement&) = delete;
  CStatement& operator=(const CStatement&) = delete;

  CStatement& Bind(int at, int number) {
    sqlite3_bind_int(m_statement, at, number);
    return *this;
  }
  CStatement& Bind(int at, std::string_view text) {
    sqlite3_bind_text(m_statement, at, text.data(),
                      static_cast<int>(text.size()), SQLITE_STATIC);
    return *this;
  }

  // Calls visit for each row; false after a failure.
  template <typename Visit>
  bool Run(Visit visit) {
    int status = sqlite3_step(m_statement);
    for (; status == SQLITE_ROW; status = sqlite3_step(m_statement)) visit();
    sqlite3_reset(m_statement);
    return status == SQLITE_DONE;
  }
  bool Run() {
    return Run([] {});
  }

  int Number() {
    int number = -1;
    Run([&] { number = sqlite3_column_int(m_statement, 0); });
    return number;
  }
  const char* Text(int column) const {
    return reinterpret_cast<const char*>(
        sqlite3_column_text(m_statement, column));
  }

 private:
  sqlite3_stmt* m_statement = nullptr;
};

// An open database file with the table.
class CConnection {
 public:
  CConnection(const std::string& file, const std::string& journal) {
    Require(sqlite3_open(file.c_str(), &m_database) == SQLITE_OK &&
                Execute("PRAGMA journal_mode=" + journal) &&
                Execute("PRAGMA synchronous=FULL"),
            "no SQLite database");
  }
  ~CConnection() { sqlite3_close(m_database); }
  CConnection(const CConnection&) = delete;
  CConnection& operator=(const CConnection&) = delete;

  sqlite3* get() const { return m_database; }

  bool Execute(const std::string& sql) const {
    return sqlite3_exec(m_database, sql.c_str(), nullptr, nullptr, nullptr) ==
           SQLITE_OK;
  }

  bool MakeTable() const {
    return Execute(
        "CREATE TABLE records (id INTEGER PRIMARY KEY, name TEXT, kind TEXT, "
        "note TEXT)");
  }

  // Runs body in one transaction.
  template <typename Body>
  bool Transact(Body body) const {
    const bool ok = Execute("BEGIN") && body();
    return Execute("COMMIT") && ok;
  }

 private:
  sqlite3* m_database = nullptr;
};

constexpr char kInsert[] = "INSERT INTO records VALUES (?, ?, ?, ?)";
constexpr char kCount[] = "SELECT COUNT(*) FROM records";

class CSqlite : public CContestant {
 public:
  CSqlite(const CPlace& place, const char* journal)
      : CContestant(place),
        m_journal(journal),
        m_database(place.root + "/" + journal + ".db", journal) {}

  int List() override { return CountRows(m_list); }
  int Match() override { return CountRows(m_match.Bind(1, kWantedKind)); }
  int Count() override { return m_count.Number(); }
  int HighestId() override { return m_highest.Number(); }

  bool Read(const CRecord& record) override {
    bool isRight = false;
    m_read.Bind(1, record.id);
    return m_read.Run([&] { isRight = record.name == m_read.Text(1); }) &&
           isRight;
  }
  bool Find(const CRecord& record) override { return Read(record); }

  bool Add(const CRecord& record) override {
    m_insert.Bind(1, record.id).Bind(2, record.name).Bind(3, record.kind);
    return m_insert.Bind(4, record.note).Run();
  }
  bool AddAllocated(const CRecord& record) override {
    m_allocate.Bind(1, record.name).Bind(2, record.kind).Bind(3, record.note);
    return m_allocate.Run() &&
           sqlite3_last_insert_rowid(m_database.get()) == record.id;
  }
  bool Update(const CRecord& record) override {
    m_change.Bind(1, m_update + kNoteAt).Bind(2, record.id);
    return m_change.Run() && sqlite3_changes(m_database.get()) == 1;
  }
  bool Delete(const CRecord& record) override {
    return m_delete.Bind(1, record.id).Run() &&
           sqlite3_changes(m_database.get()) == 1;
  }

  bool Create() override {
    const std::string file = m_place.newRoot + "/" + m_journal + ".db";
    m_created = std::make_unique<CConnection>(file, m_journal);
    return m_created->Transact([&] {
      if (!m_created->MakeTable()) return false;
      CStatement insert(m_created->get(), kInsert);
      std::ostringstream text;
      text << std::ifstream(m_place.creationFile).rdbuf();
      return VisitRecords(text.str(), [&](const auto& fields) {
        int at = 0;
        for (const std::string_view field : fields) insert.Bind(++at, field);
        return insert.Run();
      });
    });
  }
  int CountCreated() override {
    const int records = CStatement(m_created->get(), kCount).Number();
    m_created.reset();
    return records;
  }

  bool Insert(const Records& records) override {
    return m_database.Transact([&] {
      return std::all_of(records.begin(), records.end(),
                         [&](const CRecord& record) { return Add(record); });
    });
  }
  bool Remove(const Records& records) override {
    return m_database.Transact([&] {
      return std::all_of(records.begin(), records.end(),
                         [&](const CRecord& record) { return Delete(record); });
    });
  }

 private:
  // Fetches all values of every row.
  static int CountRows(CStatement& statement) {
    int rows = 0;
    const bool ok = statement.Run([&] {
      bool isWhole = true;
      for (int i = 0; i < 4; ++i) isWhole &= statement.Text(i) != nullptr;
      if (isWhole) ++rows;
    });
    return ok ? rows : -1;
  }

  const std::string m_journal;
  CConnection m_database;
  const bool m_hasTable = m_database.MakeTable();  // before the statements
  std::unique_ptr<CConnection> m_created;
  CStatement m_list{m_database.get(), "SELECT * FROM records"};
  CStatement m_match{m_database.get(), "SELECT * FROM records WHERE kind = ?"};
  CStatement m_count{m_database.get(), kCount};
  CStatement m_highest{m_database.get(), "SELECT MAX(id) FROM records"};
  CStatement m_read{m_database.get(), "SELECT * FROM records WHERE id = ?"};
  CStatement m_insert{m_database.get(), kInsert};
  CStatement m_allocate{m_database.get(),
                        "INSERT INTO records VALUES (NULL, ?, ?, ?)"};
  CStatement m_change{m_database.get(),
                      "UPDATE records SET note = ? WHERE id = ?"};
  CStatement m_delete{m_database.get(), "DELETE FROM records WHERE id = ?"};
};

}  // namespace

std::unique_ptr<CContestant> MakeSqlite(const CPlace& place,
                                        const char* journal) {
  return std::make_unique<CSqlite>(place, journal);
}

}  // namespace bench
