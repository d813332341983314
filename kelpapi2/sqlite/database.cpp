// The only file that turns SQLite's results into failures.
#include "sqlite/database.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <thread>

namespace kelp::sqlite {

namespace {

// Pages in the log from which on they are moved into the file, and those that are too many.
constexpr int kCheckpointPages = 4000;
constexpr int kLongLogPages = 8000;

constexpr const char *kBeginRead = "BEGIN";
constexpr const char *kBeginWrite = "BEGIN IMMEDIATE";
constexpr const char *kCommit = "COMMIT";
constexpr const char *kRollBack = "ROLLBACK";

ResultCode code_of(int result, int system_error) {
  switch (result & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED: return kTimedOut;
    case SQLITE_FULL: return kStorageFull;
    case SQLITE_IOERR: return system_error == ENOSPC ? kStorageFull : kInternal;
    case SQLITE_CORRUPT: return kDamaged;
    case SQLITE_NOTADB: return kForeignStore;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
    case SQLITE_CANTOPEN: return kDenied;
    case SQLITE_NOMEM: return kOutOfMemory;
    default: return kInternal;
  }
}

}  // namespace

void Statement::bind(int index, const std::string &value) {
  check(sqlite3_bind_text64(handle_.get(), index, value.data(), value.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8));
}

bool Statement::step() {
  const int result = sqlite3_step(handle_.get());
  if (result == SQLITE_ROW) return true;
  sqlite3_reset(handle_.get());
  if (result != SQLITE_DONE) check(result);
  return false;
}

double Statement::real(int column) const {
  const double value = sqlite3_column_double(handle_.get(), column);
  return value == 0 && type(column) == SQLITE_NULL ? std::nan("") : value;
}

std::string Statement::text(int column) const {
  const auto *bytes = reinterpret_cast<const char *>(sqlite3_column_text(handle_.get(), column));
  return bytes ? std::string(bytes, sqlite3_column_bytes(handle_.get(), column)) : std::string();
}

std::string_view Statement::bytes(int column) const {
  const auto *bytes = static_cast<const char *>(sqlite3_column_blob(handle_.get(), column));
  const auto size = static_cast<size_t>(sqlite3_column_bytes(handle_.get(), column));
  return bytes ? std::string_view(bytes, size) : std::string_view("");
}

void Statement::check(int result) const { database_->check(result); }

Database::Database(const std::string &path, int wait_seconds)
    : path_(path),
      longest_wait_(std::chrono::seconds(wait_seconds)),
      turns_(path),
      long_log_(kLongLogPages) {
  sqlite3 *handle = nullptr;
  const int result =
      sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  handle_.reset(handle);
  check(result);
  sqlite3_extended_result_codes(handle, 1);
  sqlite3_busy_handler(handle, wait_for_lock, this);
  sqlite3_wal_hook(handle, after_commit, this);
  merge_log_on_close(false);
  // Ending a transaction must not need memory for a statement.
  for (const char *sql : {kBeginRead, kBeginWrite, kCommit, kRollBack}) statement(sql);
}

// SQLite's own waiting sleeps up to 100 ms between its attempts and hardly ever finds the lock free
// when another program writes without pause.
int Database::wait_for_lock(void *self, int attempt) {
  auto &database = *static_cast<Database *>(self);
  const auto now = std::chrono::steady_clock::now();
  if (attempt == 0) database.wait_began_ = now;
  if (now - database.wait_began_ >= database.longest_wait_) return 0;
  database.turns_.begin_waiting();
  std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return 1;
}

int Database::after_commit(void *self, sqlite3 *handle, const char *name, int log_pages) {
  auto &database = *static_cast<Database *>(self);
  if (log_pages >= database.long_log_) {
    database.begin_log_anew(log_pages);
  } else if (log_pages >= kCheckpointPages) {
    sqlite3_wal_checkpoint_v2(handle, name, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
  }
  if (log_pages < kLongLogPages) database.long_log_ = kLongLogPages;
  return SQLITE_OK;  // the commit holds, whatever became of the log
}

// While many programs read and write there is always one that keeps the log from being begun anew,
// so that others have to wait for a moment. A program that reads for long is not waited for.
void Database::begin_log_anew(int log_pages) {
  constexpr auto longest = std::chrono::milliseconds(100);
  const auto wait = std::exchange(longest_wait_, std::min(longest_wait_, longest));
  const int result =
      sqlite3_wal_checkpoint_v2(handle_.get(), "main", SQLITE_CHECKPOINT_RESTART, nullptr, nullptr);
  longest_wait_ = wait;
  if (result != SQLITE_OK) long_log_ = log_pages + kCheckpointPages;
}

void Database::merge_log_on_close(bool allowed) {
  sqlite3_db_config(handle_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, allowed ? 0 : 1, nullptr);
}

void Database::let_go() {
  if (!handle_) return;
  merge_log_on_close(false);
  statements_.clear();
  handle_.reset();
}

Statement &Database::statement(const std::string &sql) {
  const auto found = statements_.find(sql);
  if (found != statements_.end()) return found->second;
  sqlite3_stmt *handle = nullptr;
  check(sqlite3_prepare_v3(handle_.get(), sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &handle,
                           nullptr));
  return statements_.emplace(sql, Statement(*this, handle)).first->second;
}

void Database::roll_back() {
  if (!handle_) return;
  sqlite3_stmt *running = nullptr;
  while ((running = sqlite3_next_stmt(handle_.get(), running)) != nullptr) sqlite3_reset(running);
  try {
    if (in_transaction()) statement(kRollBack).run();
  } catch (const std::exception &) {
    // There is no memory for it, or the connection is beyond use; the next call tries again.
  }
}

void Database::execute(const std::string &sql) {
  check(sqlite3_exec(handle_.get(), sql.c_str(), nullptr, nullptr, nullptr));
}

int64_t Database::number(const std::string &sql) {
  Statement &query = statement(sql);
  const int64_t value = query.step() ? query.integer(0) : 0;
  query.reset();
  return value;
}

void Database::check(int result) const {
  if (result == SQLITE_OK) return;
  if (!handle_) throw Failure(result == SQLITE_NOMEM ? kOutOfMemory : kLost);
  const int system_error = sqlite3_system_errno(handle_.get());
  const ResultCode code = code_of(result, system_error);
  std::string cause = code == kStorageFull ? "the disk is full" : sqlite3_errmsg(handle_.get());
  if (code == kDenied && system_error != 0) cause = std::strerror(system_error);
  if (code == kTimedOut) cause = "another program held it too long";
  fail(code, cause);
}

void Database::fail(ResultCode code, const std::string &cause) const {
  throw Failure(code, "store " + path_ + ": " + cause);
}

Transaction::Transaction(Database &database, Kind kind) : database_(database), kind_(kind) {
  const std::unique_ptr<Turns, void (*)(Turns *)> waiting(
      &database.turns(), [](Turns *turns) { turns->end_waiting(); });
  database_.statement(kind == Kind::write ? kBeginWrite : kBeginRead).run();
}

Transaction::~Transaction() { database_.roll_back(); }

void Transaction::commit() {
  try {
    database_.statement(kCommit).run();
  } catch (const Failure &failure) {
    // The log was written, and perhaps not synced: after a crash it may be there or not.
    if (failure.code() == kInternal) throw Failure(kLost, failure.what());
    throw;
  }
  if (kind_ == Kind::write) database_.turns().let_others();
}

}  // namespace kelp::sqlite
