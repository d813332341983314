// A thin RAII layer over the SQLite C interface: a connection that keeps its prepared statements,
// statements that reset themselves, and errors as Failure with a line that names the file.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

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

 private:
  friend class Database;
  struct Finalizer {
    void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
  };
  Statement(class Database &database, sqlite3_stmt *handle)
      : database_(&database), handle_(handle) {}
  void check(int result) const;

  Database *database_;
  std::unique_ptr<sqlite3_stmt, Finalizer> handle_;
};

class Database {
 public:
  // Opens an existing file. A call waits `wait_seconds` for the locks of others.
  Database(const std::string &path, int wait_seconds);
  Database(const Database &) = delete;
  Database &operator=(const Database &) = delete;

  // Whether closing may move the write-ahead log into the file; not until the file is known as
  // ours.
  void merge_log_on_close(bool allowed);

  // The prepared statement of this text, made once.
  Statement &statement(const std::string &sql);
  // Ends the runs that an exception has left in their middle.
  void reset_statements();
  // Runs one or several statements without parameters or rows.
  void execute(const std::string &sql);
  // The one number that a query without parameters yields.
  int64_t number(const std::string &sql);

  bool in_transaction() const { return sqlite3_get_autocommit(handle_.get()) == 0; }
  bool read_only() const { return sqlite3_db_readonly(handle_.get(), "main") == 1; }
  const std::string &path() const { return path_; }

  // Throws the failure that a result of SQLite stands for, unless it is a success.
  void check(int result) const;
  [[noreturn]] void fail(ResultCode code, const std::string &cause) const;

 private:
  struct Closer {
    void operator()(sqlite3 *database) const { sqlite3_close_v2(database); }
  };
  static int wait_for_lock(void *self, int attempt);

  std::string path_;
  std::chrono::seconds longest_wait_;
  std::chrono::steady_clock::time_point wait_began_;
  std::unique_ptr<sqlite3, Closer> handle_;
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
  void commit();

 private:
  Database &database_;
};

}  // namespace kelp::sqlite
