// The floor: the fewest system calls that the files on disk ask for.

#ifndef BENCH_FLOOR_H_
#define BENCH_FLOOR_H_

#include "contestant.h"

namespace bench {

// Buffers and paths are made once.  A record is looked into only where a value
// of it is asked for.
class CFloor : public CContestant {
 public:
  explicit CFloor(const CPlace& place);

  int List() override;
  int Match() override;
  int Count() override;
  int HighestId() override;
  bool Read(const CRecord& record) override;
  bool Find(const CRecord& record) override;
  bool Add(const CRecord& record) override;
  bool AddAllocated(const CRecord& record) override;
  bool Update(const CRecord& record) override;
  bool Delete(const CRecord& record) override;
  bool Create() override;
  bool Insert(const Records& records) override;
  bool Remove(const Records& records) override;
  int CountCreated() override;

 private:
  template <typename Visit>
  bool Scan(Visit visit);
  std::string_view ReadFile(int directory, const char* path);
  void SetPath(std::string_view id);
  bool Save(std::string_view content);

  const std::string m_table;
  std::vector<char> m_entries;
  char m_content[4096];
  std::string m_path;       // of the record at hand
  std::string m_temporary;  // the same with .tmp
};

}  // namespace bench

#endif  // BENCH_FLOOR_H_
