// Fixture of the tests: a database root of its own, and the log lines.

#ifndef TESTS_TEST_UTIL_H_
#define TESTS_TEST_UTIL_H_

#include <gtest/gtest.h>
#include <kivdb/kivdb.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "zel_control.h"

namespace KivDB {

using Names = std::set<std::string>;
using Lines = std::vector<std::string>;
namespace fs = std::filesystem;

// Makes an empty root for every test and removes it; collects the log lines as
// the platform library writes them to standard error.
class CRootTest : public testing::Test {
 protected:
  CRootTest() {
    char path[] = "/tmp/kivdb_test.XXXXXX";
    m_root = mkdtemp(path);
    ZelSetSink(&CRootTest::Collect);
    TakeLines();
  }

  ~CRootTest() override {
    ZelSetSink(nullptr);
    std::error_code ignored;
    fs::remove_all(m_root, ignored);
  }

  // The lines since the last call.
  static Lines TakeLines() {
    const std::lock_guard<std::mutex> lock(LineMutex());
    return std::exchange(CollectedLines(), {});
  }

  // A path below the root.
  std::string Path(const std::string& file) const {
    return m_root + "/" + file;
  }

  // The text with the root in the place of "%".
  std::string WithRoot(std::string text) const {
    const std::size_t at = text.find('%');
    return at == text.npos ? text : text.replace(at, 1, m_root);
  }

  std::string PutFile(const std::string& file, const std::string& content) {
    const std::string path = Path(file);
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }

  std::string GetFile(const std::string& file) const {
    std::ifstream in(Path(file), std::ios::binary);
    if (!in) return "(no file)";
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
  }

  Names ListFiles(const std::string& directory) const {
    Names names;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(Path(directory), none)) {
      names.insert(entry.path().filename());
    }
    return names;
  }

  std::string m_root;

 private:
  static void Collect(ZelLevel level, int code, const char* text) {
    static const char* const kLevels[] = {"error ", "info ", "trace"};
    std::string line = kLevels[static_cast<int>(level)];
    if (level != ZelLevel::kTrace) line += std::to_string(code);
    const std::lock_guard<std::mutex> lock(LineMutex());
    CollectedLines().push_back(line + ": " + text);
  }

  static std::mutex& LineMutex() {
    static std::mutex mutex;
    return mutex;
  }

  static Lines& CollectedLines() {
    static Lines lines;
    return lines;
  }
};

// With a table of the columns id, name and size, opened and empty.
class CTableTest : public CRootTest {
 protected:
  CTableTest() : m_table(m_root.c_str(), "hosts") {
    fs::create_directories(Path(kTablePath));
    PutFile("kiv/schema/hosts", "id[int]|name[varchar]|size[bigint]\nx");
    EXPECT_EQ(kOk, m_table.Open());
  }

  std::string RecordPath(const std::string& id) const {
    return Path(kTablePath + ("/" + id));
  }
  void PutRecord(const std::string& id, const std::string& content) {
    PutFile(kTablePath + ("/" + id), content);
  }
  std::string GetRecord(const std::string& id) const {
    return GetFile(kTablePath + ("/" + id));
  }
  Names ListRecords() const { return ListFiles(kTablePath); }

  // The current record as "id|name|size"; "-" stands for no value.
  static std::string Values(CTable& table) {
    std::string values;
    for (const char* key : {"id", "name", "size"}) {
      const CColumn* column = table.getcolumn(key);
      const char* value = column != nullptr ? column->data() : "?";
      values += (values.empty() ? "" : "|") + std::string(value ? value : "-");
    }
    return values;
  }

  static constexpr const char* kTablePath = "kiv/database/hosts";
  CTable m_table;
};

}  // namespace KivDB

#endif  // TESTS_TEST_UTIL_H_
