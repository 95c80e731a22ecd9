// One way to store records: what every contestant can do.

#ifndef BENCH_CONTESTANT_H_
#define BENCH_CONTESTANT_H_

#include <memory>
#include <string>

#include "fixture.h"

namespace bench {

// Where a contestant keeps its records and creates a database.
struct CPlace {
  std::string root;
  std::string newRoot;
  std::string creationFile;
};

class CContestant {
 public:
  explicit CContestant(const CPlace& place) : m_place(place) {}
  virtual ~CContestant() = default;
  CContestant(const CContestant&) = delete;
  CContestant& operator=(const CContestant&) = delete;

  // What is measured.  Numbers are those of the records met, or an id; a false
  // result is a failure or a wrong value.
  virtual int List() = 0;
  virtual int Match() = 0;
  virtual int Count() = 0;
  virtual int HighestId() = 0;
  virtual bool Read(const CRecord& record) = 0;
  virtual bool Find(const CRecord& record) = 0;  // as GetRecord
  virtual bool Add(const CRecord& record) = 0;
  virtual bool AddAllocated(const CRecord& record) = 0;
  virtual bool Update(const CRecord& record) = 0;
  virtual bool Delete(const CRecord& record) = 0;
  virtual bool Create() = 0;

  // How its state is made and restored: where it can, without any sync.
  virtual bool Insert(const Records& records) = 0;
  virtual bool Remove(const Records& records) = 0;
  virtual int CountCreated() = 0;  // ends the use of what was created

  void NextRound() { m_update = kUpdates[m_update == kUpdates[0] ? 1 : 0]; }

 protected:
  const CPlace m_place;
  const char* m_update = kUpdates[0];  // another one each round
};

// The fewest system calls that the files on disk ask for.
std::unique_ptr<CContestant> MakeFloor(const CPlace& place);

// The library, used as a host uses it, on the same files.
std::unique_ptr<CContestant> MakeLibrary(const CPlace& place);

// SQLite with this journal mode, or null in a build without it.
std::unique_ptr<CContestant> MakeSqlite(const CPlace& place,
                                        const char* journal);

}  // namespace bench

#endif  // BENCH_CONTESTANT_H_
