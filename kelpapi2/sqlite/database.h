// A thin RAII layer over the SQLite C interface: a connection that keeps its prepared statements,
// statements that reset themselves, and errors as Failure with a line that names the file.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "sqlite/turns.h"
#include "store/process.h"
#include "store/result_code.h"

namespace kelp::sqlite {

class Statement {
 public:
  // Parameters count from 1, columns from 0.
  void bind(int index, int64_t value) { check(sqlite3_bind_int64(handle_.get(), index, value)); }
  void bind(int index, double value) { check(sqlite3_bind_double(handle_.get(), index, value)); }
  void bind(int index, const std::string &value);
  void bind_null(int index) { check(sqlite3_bind_null(handle_.get(), index)); }
  // The index of a named parameter, 0 if there is none.
  int index_of(const char *name) { return sqlite3_bind_parameter_index(handle_.get(), name); }

  // Moves to the next row; false at the end, where the statement is ready to be run again.
  bool step();
  // Runs to the end.
  void run() {
    while (step()) {
    }
  }
  // Ends a run early.
  void reset() { sqlite3_reset(handle_.get()); }

  int columns() const { return sqlite3_column_count(handle_.get()); }
  int type(int column) const { return sqlite3_column_type(handle_.get(), column); }
  int64_t integer(int column) const { return sqlite3_column_int64(handle_.get(), column); }
  double real(int column) const;  // NaN for NULL
  std::string text(int column) const;
  std::string_view bytes(int column) const;  // until the next step

 private:
  friend class Database;
  Statement(class Database &database, sqlite3_stmt *handle)
      : database_(&database), handle_(handle) {}
  void check(int result) const;

  Database *database_;
  std::unique_ptr<sqlite3_stmt, OwnersRelease<sqlite3_finalize>> handle_;
};

class Database {
 public:
  // While one lives, locks of others are not waited for.
  class Impatience {
   public:
    explicit Impatience(Database &database)
        : database_(database), wait_(std::exchange(database.longest_wait_, {})) {}
    ~Impatience() { database_.longest_wait_ = wait_; }
    Impatience(const Impatience &) = delete;
    Impatience &operator=(const Impatience &) = delete;

   private:
    Database &database_;
    std::chrono::milliseconds wait_;
  };

  // Opens an existing file. A call waits `wait_seconds` for the locks of others.
  Database(const std::string &path, int wait_seconds);
  Database(const Database &) = delete;
  Database &operator=(const Database &) = delete;

  // Whether closing may move the write-ahead log into the file; not until the file is known as
  // ours.
  void merge_log_on_close(bool allowed);
  // Closes the file as it is. What is called afterwards fails.
  void let_go();
  bool is_open() const { return handle_ != nullptr; }

  // The prepared statement of this text, made once.
  Statement &statement(const std::string &sql);
  // Ends a transaction that is open, and the statements that an exception has left in their middle.
  void roll_back();
  // Runs one or several statements without parameters or rows.
  void execute(const std::string &sql);
  // The one number that a query without parameters yields.
  int64_t number(const std::string &sql);

  // The rows that the last statement changed.
  int64_t changes() const { return sqlite3_changes64(handle_.get()); }
  Turns &turns() { return turns_; }
  bool in_transaction() const { return handle_ && sqlite3_get_autocommit(handle_.get()) == 0; }
  bool read_only() const { return sqlite3_db_readonly(handle_.get(), "main") == 1; }
  const std::string &path() const { return path_; }

  // Throws the failure that a result of SQLite stands for, unless it is a success.
  void check(int result) const;
  [[noreturn]] void fail(ResultCode code, const std::string &cause) const;

 private:
  static int wait_for_lock(void *self, int attempt);
  static int after_commit(void *self, sqlite3 *handle, const char *name, int log_pages);
  void begin_log_anew(int log_pages);

  std::string path_;
  std::chrono::milliseconds longest_wait_;
  std::chrono::steady_clock::time_point wait_began_;
  Turns turns_;
  int long_log_;  // pages from which on the log is too long
  std::unique_ptr<sqlite3, OwnersRelease<sqlite3_close_v2>> handle_;
  std::unordered_map<std::string, Statement> statements_;
};

// A transaction that is rolled back unless it was committed. Writes begin at once: one that begins
// as a read could not wait for another writer.
class Transaction {
 public:
  enum class Kind { read, write };
  Transaction(Database &database, Kind kind);
  ~Transaction();
  Transaction(const Transaction &) = delete;
  Transaction &operator=(const Transaction &) = delete;
  // Throws kLost if nobody can know whether it took effect.
  void commit();

 private:
  Database &database_;
  Kind kind_;
};

}  // namespace kelp::sqlite
