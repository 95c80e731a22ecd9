// The library, used as a host uses it.

#include <kivdb/kivdb.h>

#include "floor.h"

namespace bench {
namespace {

using KivDB::kOk;

// Takes from the floor how the state of the files is restored.
class CLibrary : public CFloor {
 public:
  explicit CLibrary(const CPlace& place) : CFloor(place) {
    Require(m_database.open(place.root.c_str()) == kOk, "no database");
    m_table = m_database.GetTable("records");
    Require(m_table != nullptr, "no table");
  }

  int List() override { return CountMatches(nullptr); }
  int Match() override {
    return CountMatches((std::string("kind=") + kWantedKind).c_str());
  }
  int Count() override { return m_table->records(); }
  int HighestId() override { return static_cast<int>(m_table->get_max_id()); }

  bool Read(const CRecord& record) override {
    char name[64];
    return m_table->readRecord(record.idText.c_str()) == kOk &&
           m_table->GetValStr("name", name, sizeof(name)) == kOk &&
           record.name == name;
  }
  bool Find(const CRecord& record) override {
    return m_table->GetRecord(record.idText.c_str(), m_columns) == kOk &&
           record.name == m_columns[1]->data();
  }
  bool Add(const CRecord& record) override {
    return m_table->addRecord(record.text.c_str(), nullptr, 0) == kOk;
  }
  bool AddAllocated(const CRecord& record) override {
    int id = 0;
    return m_table->addRecord(record.values.c_str(), &id, 0) == kOk &&
           id == record.id;
  }
  bool Update(const CRecord& record) override {
    return m_table->updateRecord(record.idText.c_str(), m_update) == kOk;
  }
  bool Delete(const CRecord& record) override {
    return m_table->deleteRecord(record.idText.c_str()) == kOk;
  }
  bool Create() override {
    KivDB::CKivDatabase database;
    // There is nothing to open yet, but the root is set.
    database.open(m_place.newRoot.c_str());
    return database.Create(m_place.creationFile.c_str(), 1, nullptr) == kOk;
  }

 private:
  int CountMatches(const char* condition) {
    int records = 0;
    int status = m_table->ListRecordsStart(m_columns, condition);
    while (status == kOk) {
      ++records;
      status = m_table->ListRecordsNext(m_columns, condition);
    }
    return status == KivDB::kNoRecord ? records : -1;
  }

  KivDB::CKivDatabase m_database;
  KivDB::CTable* m_table = nullptr;
  std::vector<KivDB::CColumn*> m_columns;
};

}  // namespace

std::unique_ptr<CContestant> MakeLibrary(const CPlace& place) {
  return std::make_unique<CLibrary>(place);
}

}  // namespace bench
