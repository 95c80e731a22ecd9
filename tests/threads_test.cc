// Threads on one table: what waits for what.

#include <atomic>
#include <functional>
#include <thread>

#include "test_util.h"

namespace KivDB {

TEST_F(TableTest, ThreadsNeverGetTheSameId) {
  std::vector<std::thread> threads(4);
  for (auto& thread : threads) {
    thread = std::thread([this] {
      for (int id, i = 0; i < 25; ++i) {
        EXPECT_EQ(kOk, m_table.addRecord("alpha,1", &id, 0));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(100, m_table.records());
  EXPECT_EQ(100U, m_table.get_max_id());
}

// Starts an operation of another thread in the middle of a save.
class WaitingTest : public TableTest {
 protected:
  // Whether the operation ends before the save does.
  bool EndsDuringASave(const std::function<void()>& operation) {
    run = operation;
    hasEnded = endedEarly = false;
    ZelSetSink([](ZelLevel, int, const char* text) {
      if (std::string(text).find("remove old record") != 0 || !run) return;
      thread = std::thread([operation = std::exchange(run, {})] {
        operation();
        hasEnded = true;
      });
      for (int i = 0; i < 50 && !hasEnded; ++i) usleep(1000);
      endedEarly = hasEnded.load();
    });
    EXPECT_EQ(kOk, m_table.addRecord("7,new,2", nullptr, 0));
    ZelSetSink(Collect);
    thread.join();
    return endedEarly;
  }

 private:
  static inline std::function<void()> run;
  static inline std::thread thread;
  static inline std::atomic<bool> hasEnded, endedEarly;
};

TEST_F(WaitingTest, CopiesWaitForASave) {
  CTable copy;
  std::vector<CColumn*> columns;
  int id = 0;
  const std::pair<const char*, std::function<void()>> kOperations[] = {
      {"start", [&] { copy.ListRecordsStart(nullptr); }},
      {"next", [&] { copy.ListRecordsNext("size=2"); }},
      {"lookup", [&] { copy.GetRecord("7", columns); }},
      {"records", [&] { EXPECT_EQ(1, copy.records()); }},
      {"add", [&] { copy.addRecord("7,x,1", nullptr, 0); }},
      {"allocate", [&] { copy.addRecord("x,1", &id, 0); }},
      {"update", [&] { EXPECT_EQ(kOk, copy.updateRecord("7", "size=9")); }},
      {"delete", [&] { copy.deleteRecord("7"); }},
      {"recover", [&] { copy.recover(); }},
      {"clear", [&] { copy.clear(); }},
      {"open", [&] { copy.Open(); }}};
  for (const auto& [name, operation] : kOperations) {
    fs::remove_all(m_records);
    Put(m_records + "/7", "old|1|");
    copy = m_table;
    EXPECT_FALSE(EndsDuringASave(operation)) << name;
  }
}

TEST_F(WaitingTest, WhatNeedsNoLockDoesNotWait) {
  CTable copy(m_table);
  CTable other(m_table);
  Put("7", "old|1|");
  EXPECT_TRUE(EndsDuringASave([&] { copy.get_max_id(); }));
  EXPECT_TRUE(EndsDuringASave([&] { copy.readRecord("7"); }));
  EXPECT_TRUE(EndsDuringASave([&] { other.Open("none"); })) << "no schema";
}

// The configuration's path is read when its mutex is free again.
TEST_F(RootTest, OpeningWaitsForTheConfiguration) {
  ConfigClass config("none");
  pthread_mutex_lock(config.mutex());
  std::atomic<bool> hasEnded = false;
  std::thread opener([&] {
    CKivDatabase().open(&config);
    hasEnded = true;
  });
  usleep(20000);
  EXPECT_FALSE(hasEnded);
  pthread_mutex_unlock(config.mutex());
  opener.join();
  EXPECT_EQ("E20 can't find StorageDatabase Path from [none]\n", Log());
}

}  // namespace KivDB
