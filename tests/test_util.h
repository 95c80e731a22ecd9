// What the tests share: a database root of their own, its files, the log lines.

#ifndef TESTS_TEST_UTIL_H_
#define TESTS_TEST_UTIL_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <kivdb/kivdb.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "zel_control.h"

namespace fs = std::filesystem;

namespace KivDB {

// A row of a table of cases.
struct Case {
  std::string in;
  int status;
  std::string out;
  std::string log{};
};

// Makes a file and its directory.
inline void Put(const std::string& file, const std::string& text) {
  const fs::path directory = fs::path(file).parent_path();
  if (!directory.empty()) fs::create_directories(directory);
  std::ofstream(file) << text;
}

inline std::string Get(const std::string& file) {
  std::ifstream in(file);
  std::ostringstream text;
  text << in.rdbuf();
  return in.is_open() ? text.str() : "(none)";
}

inline std::string Mode(const std::string& file) {
  std::ostringstream text;
  text << std::oct << static_cast<int>(fs::status(file).permissions());
  return text.str();
}

template <typename Result>
bool IsReadySoon(const std::future<Result>& future) {
  return future.wait_for(std::chrono::milliseconds(40)) ==
         std::future_status::ready;
}

// The lower ones, which a lost one is among.
inline std::vector<int> OpenDescriptors() {
  std::vector<int> open;
  for (int fd = 0; fd < 256; ++fd) {
    if (fcntl(fd, F_GETFD) >= 0) open.push_back(fd);
  }
  return open;
}

// The names in a directory, sorted, each with a blank behind it.
inline std::string List(const std::string& directory) {
  std::set<std::string> names;
  std::error_code none;
  for (const auto& entry : fs::directory_iterator(directory, none)) {
    names.insert(entry.path().filename().string() + " ");
  }
  std::string list;
  for (const auto& name : names) list += name;
  return list;
}

// Makes an empty root below TMPDIR for every test, which runs there without a
// umask, and removes it; collects the log lines.
class RootTest : public testing::Test {
 protected:
  RootTest() {
    EXPECT_EQ(0, chdir(mkdtemp(m_root.data())));
    umask(0);
    ZelSetSink(Collect);
  }
  ~RootTest() override {
    ZelSetSink(nullptr);
    fs::remove_all(m_root);
    Log();
  }

  static void Collect(ZelLevel level, int code, const char* text) {
    const std::string line = std::to_string(code) + " " + text + "\n";
    const std::lock_guard<std::mutex> lock(mutex);
    lines += "EIT"[static_cast<int>(level)] + line;
  }

  // The lines since the last call, each as "E20 text" (or I, T) and a line
  // feed; "%" stands for the root.
  std::string Log() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return WithoutRoot(std::exchange(lines, {}));
  }

  std::string WithoutRoot(std::string text) const {
    for (auto at = text.find(m_root); at != text.npos; at = text.find(m_root)) {
      text.replace(at, m_root.size(), "%");
    }
    return text;
  }

  // Makes a root whose path has so many characters.
  std::string LongRoot(std::size_t length) const {
    std::string root = m_root;
    while (root.size() + 102 < length) root += "/" + std::string(100, 'd');
    root += "/" + std::string(length - root.size() - 1, 'd');
    fs::create_directories(root);
    return root;
  }

  std::string m_root = fs::temp_directory_path() / "kivdb_test.XXXXXX";

 private:
  static inline std::mutex mutex;
  static inline std::string lines;
};

// With a database of the tables a, b and c, all with the columns id and x.
class DatabaseTest : public RootTest {
 protected:
  DatabaseTest() {
    fs::create_directories("kiv/schema");
    fs::create_directories("kiv/database");
    EXPECT_EQ(kOk, m_database.open(m_root.c_str()));
    for (const char* table : {"a", "b", "c"}) {
      EXPECT_EQ(kOk, m_database.AddTable(table, "id(int),x(int)"));
    }
  }
  CKivDatabase m_database;
};

// With a table of the columns id, name and size, opened and empty; runs in its
// directory.
class TableTest : public RootTest {
 protected:
  TableTest() : m_table(m_root.c_str(), "hosts") {
    Put("kiv/schema/hosts", "id[int]|name[varchar]|size[bigint]\nx");
    EXPECT_EQ(kOk, m_table.Open());
    fs::create_directories(m_records);
    fs::current_path(m_records);
  }

  // The current record as "id|name|size|"; "-" stands for no value.
  static std::string Values(CTable& table) {
    std::string values;
    for (const char* key : {"id", "name", "size"}) {
      const char* value = table.getcolumn(key)->data();
      values += (value != nullptr ? value : "-") + std::string("|");
    }
    return values;
  }

  const std::string m_records = m_root + "/kiv/database/hosts";
  CTable m_table;
};

}  // namespace KivDB

#endif  // TESTS_TEST_UTIL_H_
