// Threads on one table: what waits for what.

#include "test_util.h"

namespace KivDB {

using Future = std::future<void>;

class WaitingTest : public TableTest {
 protected:
  // Starts the operation in another thread, in the middle of a save; whether it
  // ends before the save does.
  bool EndsDuringASave(const std::function<void()>& operation) {
    run = operation;
    ZelSetSink([](ZelLevel, int, const char* text) {
      if (std::string(text).find("remove old record") != 0 || !run) return;
      other = std::async(std::launch::async, std::exchange(run, {}));
      endsEarly = IsReadySoon(other);
    });
    EXPECT_EQ(kOk, m_table.addRecord("7,new,2", nullptr, 0));
    ZelSetSink(Collect);
    other.get();
    return endsEarly;
  }

 private:
  static inline std::function<void()> run;
  static inline Future other;
  static inline bool endsEarly;
};

TEST_F(WaitingTest, CopiesWaitForASaveWhereTheyNeedTo) {
  CTable copy;
  std::vector<CColumn*> columns;
  int id = 0;
  const std::tuple<const char*, bool, std::function<void()>> kOperations[] = {
      {"start", true, [&] { copy.ListRecordsStart(nullptr); }},
      {"next", true, [&] { copy.ListRecordsNext("size=2"); }},
      {"lookup", true, [&] { copy.GetRecord("7", columns); }},
      {"records", true, [&] { copy.records(); }},
      {"add", true, [&] { copy.addRecord("7,x,1", nullptr, 0); }},
      {"allocate", true, [&] { copy.addRecord("x,1", &id, 0); }},
      {"update", true,
       [&] {
         fs::remove(m_records + "/7");
         EXPECT_EQ(kOk, copy.updateRecord("7", "size=9"));
       }},
      {"delete", true, [&] { copy.deleteRecord("7"); }},
      {"recover", true, [&] { copy.recover(); }},
      {"clear", true, [&] { copy.clear(); }},
      {"open", true, [&] { copy.Open(); }},
      {"highest", false, [&] { copy.get_max_id(); }},
      {"read", false, [&] { copy.readRecord("7"); }},
      {"no schema", false, [&] { copy.Open("none"); }}};
  for (const auto& [name, waits, operation] : kOperations) {
    Put(m_records + "/7", "old|1|");
    copy = m_table;
    EXPECT_EQ(waits, !EndsDuringASave(operation)) << name;
  }
}

TEST_F(RootTest, OpeningWaitsForTheConfiguration) {
  ConfigClass config("none");
  pthread_mutex_lock(config.mutex());
  const Future opener = std::async(std::launch::async, [&] {
    static_cast<void>(CKivDatabase().open(&config));
  });
  EXPECT_FALSE(IsReadySoon(opener));
  pthread_mutex_unlock(config.mutex());
}

}  // namespace KivDB
