// What the tests over a file share: a folder with a store for each test, the program on a store,
// and the store as SQLite sees it.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "support/program.h"
#include "support/sequence.h"

namespace kelptest {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

constexpr int32_t kDoNotWait = 8;  // bit of the option word: a commit does not wait for the disk

// A file as SQLite sees it, which leaves its write-ahead log behind.
inline std::shared_ptr<sqlite3> database(const std::string &path) {
  sqlite3 *database = nullptr;
  sqlite3_open(path.c_str(), &database);
  sqlite3_busy_timeout(database, 10'000);
  sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  return {database, sqlite3_close};
}

// The rows of a query, columns joined by "|", or what SQLite says if it fails.
inline Lines sql(const std::string &path, const std::string &query) {
  Lines lines;
  const auto add_line = [](void *to, int columns, char **values, char **) {
    std::string line = values[0];
    for (int i = 1; i < columns; ++i) line += std::string("|") + values[i];
    static_cast<Lines *>(to)->push_back(line);
    return 0;
  };
  const auto file = database(path);
  const int result = sqlite3_exec(file.get(), query.c_str(), add_line, &lines, nullptr);
  return result == SQLITE_OK ? lines : Lines{sqlite3_errmsg(file.get())};
}

// That standard error is one line which names the store and then the cause.
inline void expect_one_line(const std::string &errors, const std::string &path,
                            const std::string &cause) {
  EXPECT_EQ(errors.find('\n'), errors.size() - 1) << errors;
  const size_t at = errors.find(path);
  EXPECT_TRUE(at < errors.size() && errors.find(cause, at) < errors.size()) << errors;
}

// That the program ends by itself, with the status of every end, and says why in one line.
inline void expect_refused(const std::string &path, const std::string &cause,
                           const std::string &last_line) {
  Program program({"file:" + path}, {"-X20"});
  EXPECT_EQ(program.wait(20s), 0);
  EXPECT_TRUE(program.output().ends_with(last_line)) << program.output();
  expect_one_line(program.errors(), path, cause);
}

class FileTest : public testing::Test {
 protected:
  // A store with a tree and values in one file, without a log.
  static void make_store(const std::string &path) {
    Program program({"file:" + path});
    ASSERT_TRUE(program.wait_for_output(kWriting, 10s)) << program.errors();
    program.signal(SIGKILL);
    program.wait(5s);
    sql(path, "PRAGMA wal_checkpoint(TRUNCATE); PRAGMA journal_mode = DELETE");
  }
  int32_t first_point() const {
    return std::stoi(sql(store_, "SELECT min(id) FROM object WHERE kind >= 32")[0]);
  }
  void expect_intact() const { EXPECT_EQ(sql(store_, "PRAGMA integrity_check"), Lines{"ok"}); }

  TempFolder folder_;
  const std::string store_ = folder_.path("store");
  Login login_{"file:" + store_};
};

}  // namespace kelptest
