// The operations that are measured, and the files they are measured on.

#ifndef BENCH_OPERATIONS_H_
#define BENCH_OPERATIONS_H_

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "contestant.h"

namespace bench {

constexpr int kBatch = 20;  // records that are written between two syncs

// The contestants, each with the same records of one number at one place.
class CFixture {
 public:
  CFixture(const char* placeName, const std::string& root, int size,
           int created)
      : m_placeName(placeName),
        m_place{root, root + "/new", root + "/creation.ini"},
        m_size(size),
        m_created(created) {
    std::filesystem::create_directories(root + kTable);
    std::filesystem::create_directories(root + "/kiv/schema");
    std::ofstream(root + "/kiv/schema/records") << kSchema << "\n";
    WriteCreationFile(m_place.creationFile, created);
    m_contestants = {MakeFloor(m_place), MakeLibrary(m_place),
                     MakeSqlite(m_place, "DELETE"), MakeSqlite(m_place, "WAL")};
    const Records records = MakeRecords(1, size);
    for (const std::size_t i : {0U, 2U, 3U}) {  // the library has the floor's
      Require(!m_contestants[i] || m_contestants[i]->Insert(records),
              "records cannot be written");
    }
    m_directory = open(root.c_str(), O_RDONLY | O_CLOEXEC);
    Sync();
  }
  ~CFixture() { close(m_directory); }
  CFixture(const CFixture&) = delete;
  CFixture& operator=(const CFixture&) = delete;

  const char* placeName() const { return m_placeName; }
  const std::string& root() const { return m_place.root; }
  int size() const { return m_size; }
  int created() const { return m_created; }
  CContestant* contestant(std::size_t i) const {
    return m_contestants[i].get();
  }

  // The id of the record in the middle of the directory.
  int Middle() const {
    auto entry = std::filesystem::directory_iterator(m_place.root + kTable);
    for (int i = 0; i < m_size / 2; ++i) ++entry;
    return std::stoi(entry->path().filename());
  }

  bool ClearNewRoot() const {
    std::filesystem::remove_all(m_place.newRoot);
    return std::filesystem::create_directories(m_place.newRoot);
  }

  // What was written before does not hold up the syncs that are measured.
  void Sync() const { syncfs(m_directory); }

 private:
  const char* const m_placeName;
  const CPlace m_place;
  const int m_size;
  const int m_created;  // records of the creation file
  int m_directory = -1;
  std::array<std::unique_ptr<CContestant>, 4> m_contestants;
};

using C = CContestant;
using R = CRecord;
using F = CFixture;

enum class Kind { kReads, kWrites, kDurable };

// What is done with each of the chosen records, and before and after them while
// the clock stands.
struct COperation {
  using Hook = bool (*)(C& contestant, const Records& records, const F&);

  const char* name;
  Kind kind;
  Records (*choose)(const F& fixture);
  bool (*run)(C& contestant, const R& record, const F& fixture);
  Hook before = nullptr;
  Hook after = nullptr;
};

inline Records Middle(const F& f) { return MakeRecords(f.Middle(), 1); }
inline Records Any(const F& /*fixture*/) { return MakeRecords(1, 1); }
inline Records Fresh(const F& f) { return MakeRecords(f.size() + 1, kBatch); }
inline Records Spread(const F& f) {
  Records records;
  for (int i = 0; i < kBatch; ++i) {
    records.emplace_back(1 + i * (f.size() / kBatch));
  }
  return records;
}

inline bool Insert(C& c, const Records& r, const F&) { return c.Insert(r); }
inline bool Remove(C& c, const Records& r, const F&) { return c.Remove(r); }
inline bool ClearRoot(C&, const Records&, const F& f) {
  return f.ClearNewRoot();
}
inline bool CheckCreated(C& c, const Records&, const F& f) {
  return c.CountCreated() == f.created();
}

constexpr COperation kAdd = {
    "add, id given", Kind::kDurable,
    Fresh,           [](C& c, const R& r, const F&) { return c.Add(r); },
    nullptr,         Remove};

constexpr COperation kOperations[] = {
    {"list", Kind::kReads, Any,
     [](C& c, const R&, const F& f) { return c.List() == f.size(); }},
    {"match 1 in 100", Kind::kReads, Any,
     [](C& c, const R&, const F& f) { return c.Match() == f.size() / 100; }},
    {"GetRecord", Kind::kReads, Middle,
     [](C& c, const R& r, const F&) { return c.Find(r); }},
    {"count", Kind::kReads, Any,
     [](C& c, const R&, const F& f) { return c.Count() == f.size(); }},
    {"highest id", Kind::kReads, Any,
     [](C& c, const R&, const F& f) { return c.HighestId() == f.size(); }},
    {"read by id", Kind::kReads, Spread,
     [](C& c, const R& r, const F&) { return c.Read(r); }},
    kAdd,
    {"add, id allocated", Kind::kDurable, Fresh,
     [](C& c, const R& r, const F&) { return c.AddAllocated(r); }, nullptr,
     Remove},
    {"update", Kind::kDurable, Spread,
     [](C& c, const R& r, const F&) { return c.Update(r); }},
    {"delete", Kind::kWrites, Fresh,
     [](C& c, const R& r, const F&) { return c.Delete(r); }, Insert},
};

constexpr COperation kCreate = {
    "create",  Kind::kDurable,
    Any,       [](C& c, const R&, const F&) { return c.Create(); },
    ClearRoot, CheckCreated};

}  // namespace bench

#endif  // BENCH_OPERATIONS_H_
