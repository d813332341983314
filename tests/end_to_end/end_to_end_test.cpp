// The program and its library on real files: what whole runs print and leave behind; files that
// cannot be used, that go away, that others lock; disks that fill up, and writers that are killed.
#include <gtest/gtest.h>
#include <kelpapi2.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <fstream>
#include <memory>
#include <numeric>
#include <random>
#include <sstream>

#include "support/process.h"
#include "support/required.h"
#include "support/sequence.h"

namespace kelptest {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using Rows = std::vector<std::string>;
using Connection = std::shared_ptr<kelp2_connection>;

// The command line of the program on a store, with more options.
std::vector<std::string> program(const std::string &path, std::vector<std::string> options = {}) {
  options.insert(options.begin(), {KELPTEST_PROGRAM, "-Hfile:" + path});
  return options;
}

Connection connect(const std::string &path, int32_t wait_seconds = 30) {
  const std::string host = "file:" + path;
  return {kelp2_init(0, host.c_str(), 0, wait_seconds, "tov", "riverbank", "NULL", 0), kelp2_close};
}

// A file as SQLite sees it, which leaves its write-ahead log behind.
std::shared_ptr<sqlite3> database(const std::string &path) {
  sqlite3 *database = nullptr;
  sqlite3_open(path.c_str(), &database);
  sqlite3_busy_timeout(database, 10'000);
  sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  return {database, sqlite3_close};
}

// The rows of a query, columns joined by "|", or what SQLite says if it fails.
Rows sql(const std::string &path, const std::string &query) {
  Rows rows;
  const auto add_row = [](void *to, int columns, char **values, char **) {
    std::string row;
    for (int i = 0; i < columns; ++i) row += (i > 0 ? "|" : "") + std::string(values[i]);
    static_cast<Rows *>(to)->push_back(row);
    return 0;
  };
  const auto file = database(path);
  const int result = sqlite3_exec(file.get(), query.c_str(), add_row, &rows, nullptr);
  return result == SQLITE_OK ? rows : Rows{sqlite3_errmsg(file.get())};
}

TEST(Run, LeavesItsTreeAndValuesAndASecondRunReplacesThem) {
  const TempFolder folder;
  const std::string store = folder.path("store");
  for (const char *replaced : {"", "insert node error!\ndelete_point_node_demo success!\n"}) {
    Process run(program(store, {"-N2", "-X3", "-T36"}));
    ASSERT_TRUE(run.wait_for_output(kWriting, 20s)) << run.output() << run.errors();
    const std::string output = run.output();
    const size_t clock = output.find('\n', output.find("2. get_system_time_demo")) + 1;
    const std::string shown = output.substr(clock, output.find('\n', clock) - clock);
    EXPECT_EQ(output, expected_run(27, shown, replaced));
    tm utc{};
    ASSERT_NE(strptime(shown.c_str(), "%Y-%m-%d %H:%M:%S", &utc), nullptr) << shown;
    EXPECT_NEAR(double(timegm(&utc)), double(std::time(nullptr)), 30);
    EXPECT_EQ(run.errors(), "");
    run.signal(SIGTERM);
    EXPECT_EQ(run.wait(5s), -SIGTERM);

    const char *objects =
        "SELECT full_name, kind, ed, fq, ar, iv, hw FROM object WHERE id > 1 ORDER BY full_name";
    EXPECT_EQ(sql(store, objects),
              (Rows{"W3.TESTNODE01|16|modify:test new node static info 00001|1|1|1.0|0",
                    "W3.TESTNODE01.POINT00001|36|test static info 00001|0|0|1.0|1",
                    "W3.TESTNODE01.POINT00002|36|test static info 00002|0|0|2.0|2",
                    "W3.TESTNODE02|16|modify:test new node static info 00002|2|2|2.0|0",
                    "W3.TESTNODE02.POINT00003|36|test static info 00003|0|0|3.0|3"}));
    // Five blocks of an hour, in steps of 10 seconds, for each of three points.
    EXPECT_EQ(sql(store,
                  "SELECT count(*), min(time), max(time), sum(status = 0),"
                  " sum(value = (time - 1346432400) / 10 % 360 + 0.123)"
                  " FROM sample WHERE time < 1346432400 + 18000"),
              Rows{"5400|1346432400|1346450390|5400|5400"});
    EXPECT_EQ(sql(store,
                  "SELECT count(*), min(abs(value)) <= 101 FROM current_value JOIN object ON id = "
                  "point_id WHERE kind = 36"),
              Rows{"3|1"});
    EXPECT_EQ(sql(store, "PRAGMA integrity_check"), Rows{"ok"});
  }
  EXPECT_EQ(fs::status(store).permissions(), fs::perms(0600));
}

TEST(Run, LeaksNothingAndReadsNothingUnset) {
  const bool can_run = fs::exists(PLAIN_PROGRAM) && std::system("valgrind --version") == 0;
  REQUIRE_OR_SKIP(can_run, "no valgrind, or no " PLAIN_PROGRAM);
  const TempFolder folder;
  Process run({"valgrind", "--leak-check=full", "--errors-for-leak-kinds=definite", PLAIN_PROGRAM,
               "-Hfile:" + folder.path("store"), "-X3"});
  EXPECT_TRUE(run.wait_for_output(kWriting, 50s)) << run.errors();
  run.signal(SIGTERM);
  EXPECT_EQ(run.wait(20s), -SIGTERM);
  EXPECT_NE(run.errors().find("ERROR SUMMARY: 0 errors"), std::string::npos) << run.errors();
}

// A file and the write-ahead log beside it.
std::string contents(const std::string &path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf() << std::ifstream(path + "-wal").rdbuf();
  return text.str();
}

// A store with a tree and values in one file, without a log.
void make_store(const std::string &path) {
  Process run(program(path));
  ASSERT_TRUE(run.wait_for_output(kWriting, 10s)) << run.errors();
  run.signal(SIGKILL);
  run.wait(5s);
  sql(path, "PRAGMA wal_checkpoint(TRUNCATE); PRAGMA journal_mode = DELETE");
}

int32_t point_of(const std::string &store) {
  return std::stoi(sql(store, "SELECT min(id) FROM object WHERE kind >= 32")[0]);
}

void expect_one_line(const std::string &errors, const std::string &path, const std::string &cause) {
  EXPECT_EQ(errors.find('\n'), errors.size() - 1) << errors;
  const size_t at = errors.find(path);
  EXPECT_TRUE(at < errors.size() && errors.find(cause, at) < errors.size()) << errors;
}

// The program ends by itself, with the status of every end, and says why in one line.
void expect_refused(const std::string &path, const std::string &cause, const char *last_line) {
  Process run(program(path, {"-X20"}));
  EXPECT_EQ(run.wait(20s), 0);
  EXPECT_TRUE(run.output().ends_with(last_line)) << run.output();
  expect_one_line(run.errors(), path, cause);
}

TEST(Fault, FilesThatAreNoStoreAreRefusedAndLeftAlone) {
  const TempFolder folder;
  make_store(folder.path("good"));
  const std::string good = contents(folder.path("good")), hole(24'576, '\0');
  const std::string damaged = good.substr(0, 4096) + hole + good.substr(28'672);
  const struct {
    const char *name, *cause;
    std::string bytes, statement;
    const char *last_line = "connect error!\n";
  } cases[] = {
      {"nowhere/store", "No such file or directory", "", ""},
      {"text", "not a database", std::string(5000, 't'), ""},
      {"foreign", "not a kelp store", "", "CREATE TABLE t (a); INSERT INTO t VALUES (1)"},
      {"log", "not a kelp store", "", "PRAGMA journal_mode = WAL; CREATE TABLE t (a)"},
      {"newer", "newer version", good, "PRAGMA user_version = 2"},
      {"truncated", "malformed", good.substr(0, good.size() / 2), ""},
      {"damaged", "malformed", damaged, "", "no database !\n"},  // which is a store at first sight
  };
  for (const auto &[name, cause, bytes, statement, last_line] : cases) {
    SCOPED_TRACE(name);
    const std::string path = folder.path(name);
    std::ofstream(path) << bytes;
    if (!statement.empty()) sql(path, statement);
    const std::string before = contents(path);
    expect_refused(path, cause, last_line);
    EXPECT_TRUE(contents(path) == before || before == damaged);
  }
  EXPECT_GT(fs::file_size(folder.path("log-wal")), 0u);
}

TEST(Fault, FileDeletedOrReplacedUnderTheWriter) {
  const TempFolder folder;
  const std::string store = folder.path("store"), other = folder.path("other");
  make_store(other);
  for (const bool replaced : {false, true}) {
    SCOPED_TRACE(replaced);
    Process run(program(store));
    ASSERT_TRUE(run.wait_for_output(kWriting, 10s));
    fs::remove(store);
    if (replaced) fs::remove(store + "-wal"), fs::remove(store + "-shm"), fs::rename(other, store);
    EXPECT_TRUE(run.wait_for_output("kelp2_write_value error!\nconnect success!\n", 5s));
    // In a new store the old points are unknown; the replacement has points of the same ids.
    EXPECT_EQ(run.wait_for_output("write realvalue error!", 2.5s), !replaced) << run.output();
    expect_one_line(run.errors(), store, "was deleted or replaced");
    const std::string query = "SELECT count(*) > 0 FROM sample WHERE time >= ";
    EXPECT_EQ(sql(store, query + std::to_string(std::time(nullptr) - 3)),
              Rows{replaced ? "1" : "0"});
    EXPECT_EQ(sql(store, "PRAGMA integrity_check"), Rows{"ok"});
  }
}

TEST(Fault, ALockedFileIsWaitedFor) {
  const TempFolder folder;
  const std::string store = folder.path("store");
  make_store(store);
  const Connection connection = connect(store, 1);
  const int32_t id = point_of(store);
  int16_t status = 0;
  double value = 1.5;
  int32_t error = 0, time = 0;
  const auto write = [&] {
    return kelp2_write_value(connection.get(), 0, 1, &id, 5, &status, &value, &error);
  };
  auto holder = database(store);
  ASSERT_EQ(sqlite3_exec(holder.get(), "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  const auto begin = std::chrono::steady_clock::now();
  testing::internal::CaptureStderr();
  EXPECT_NE(write(), 0);
  expect_one_line(testing::internal::GetCapturedStderr(), store, "held it too long");
  const auto waited = std::chrono::steady_clock::now() - begin;
  EXPECT_TRUE(waited > 0.9s && waited < 5s);
  // Reading goes on, and the program has 30 seconds' patience.
  EXPECT_EQ(kelp2_get_value_byid(connection.get(), 1, &id, &time, &status, &value, &error), 0);
  Process waiting(program(store));
  EXPECT_FALSE(waiting.wait_for_output("delete_point_node_demo success!", 1.5s));
  holder.reset();
  EXPECT_TRUE(waiting.wait_for_output(kWriting, 10s)) << waiting.output() << waiting.errors();
  EXPECT_EQ(waiting.errors(), "");
  EXPECT_EQ(write(), 0);
}

TEST(Fault, AFullDiskLosesNothingAndWritingGoesOnWhenThereIsSpace) {
  const TempFolder folder;
  if (mount("none", folder.path().c_str(), "tmpfs", 0, "size=1m") != 0) {
    GTEST_SKIP() << "cannot mount a small disk here";
  }
  const std::shared_ptr<void> unmount(nullptr,
                                      [&](void *) { umount2(folder.path().c_str(), MNT_DETACH); });
  const std::string store = folder.path("store"), ballast = folder.path("ballast");
  std::ofstream(ballast) << std::string(fs::space(folder.path()).available - 400'000, 'b');
  expect_refused(store, "the disk is full", "-10\n");
  fs::resize_file(ballast, fs::file_size(ballast) - 300'000);
  const Connection connection = connect(store);
  int32_t blocks = 0, error = 0, result = 0;
  const auto write_block = [&, id = point_of(store)] {
    std::vector<int32_t> times(360);
    std::iota(times.begin(), times.end(), blocks * 360);
    const std::vector<int16_t> statuses(360);
    const std::vector<double> values(360, 0.123);
    result = kelp2_write_histroy_byid(connection.get(), 0, id, 360, times.data(), statuses.data(),
                                      values.data(), &error);
    if (result == 0) ++blocks;
  };
  const auto check = [&] {
    const std::string rows = std::to_string(blocks * 360);
    EXPECT_EQ(sql(store, "SELECT count(*), max(time) + 1 FROM sample WHERE time < 1e9"),
              Rows{rows + "|" + rows});
    EXPECT_EQ(sql(store, "PRAGMA integrity_check"), Rows{"ok"});
  };
  testing::internal::CaptureStderr();
  while (result == 0 && blocks < 1000) write_block();
  expect_one_line(testing::internal::GetCapturedStderr(), store, "the disk is full");
  EXPECT_TRUE(blocks > 3 && kelp2_status(connection.get()) == 0);
  check();
  fs::remove(ballast);
  write_block();
  EXPECT_EQ(result, 0);
  check();
}

// Writes three rows or one, in ever another way, and after each call that succeeded its time into a
// pipe. Each call has three seconds.
void write_until_killed(const std::string &store, int32_t time, int acknowledged) {
  const Connection connection = connect(store);
  ConnectionHandle c = connection.get();
  const int32_t id = point_of(store), ids[] = {id, id, id};
  const int16_t s[3] = {};
  for (;; time += 3) {
    const int32_t t[] = {time, time + 1, time + 2};
    const double v[] = {t[0] + 0.123, t[1] + 0.123, t[2] + 0.123};
    int32_t e[3] = {}, result = 0;
    const int way = time / 3 % 4;
    if (way == 0) result = kelp2_write_histroy_byid(c, 0, id, 3, t, s, v, e);
    if (way == 1) result = kelp2_write_cache(c, 0, 3, ids, t, s, v, e);
    if (way == 2) result = kelp2_write_snap(c, 0, 1, ids, time, s, v, e);
    if (way == 3) result = kelp2_write_value(c, 0, 1, ids, time, s, v, e);
    if (result != 0 || e[0] != 0 || e[1] != 0 || e[2] != 0) return;
    if (write(acknowledged, &time, sizeof time) != sizeof time) return;
  }
}

TEST(Fault, AKilledWriterLosesNothingAcknowledgedAndLeavesNoHalfCall) {
  const TempFolder folder;
  const std::string store = folder.path("store");
  const char *query =
      "SELECT time FROM (SELECT time, value FROM sample"
      " UNION ALL SELECT time, value FROM staged_sample)"
      " WHERE time < 1e9 AND value = time + 0.123 ORDER BY time";
  make_store(store);
  std::mt19937 random(std::random_device{}());
  Rows expected;
  int32_t next = 0;
  const auto add_call = [&] {
    const int32_t rows = next / 3 % 4 < 2 ? 3 : 1;
    for (int32_t i = 0; i < rows; ++i) expected.push_back(std::to_string(next + i));
    next += 3;
  };
  for (int run = 0; run < 25; ++run) {
    int ends[2], status = 0;
    ASSERT_EQ(pipe(ends), 0);
    const pid_t writer = fork();
    if (writer == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      write_until_killed(store, next, ends[1]);
      _exit(1);
    }
    close(ends[1]);
    usleep(random() % 300'000);
    kill(writer, SIGKILL);
    ASSERT_TRUE(waitpid(writer, &status, 0) == writer && WIFSIGNALED(status)) << status;
    for (int32_t time = 0; read(ends[0], &time, sizeof time) == sizeof time;) add_call();
    close(ends[0]);
    ASSERT_NE(connect(store), nullptr);
    const Rows found = sql(store, query);
    if (found.size() > expected.size()) add_call();  // which was done and not reported
    ASSERT_EQ(found, expected) << run;
    ASSERT_EQ(sql(store, "PRAGMA integrity_check"), Rows{"ok"});
  }
  EXPECT_GT(next, 1000);
}

TEST(Fault, AProgramKilledAtAnyMomentLeavesAStoreForTheNextRun) {
  const TempFolder folder;
  const std::string store = folder.path("store");
  std::mt19937 random(std::random_device{}());
  for (int round = 0; round < 20; ++round) {
    Process run(program(store, {"-N2", "-X20"}));
    usleep(random() % 700'000);
    run.signal(SIGKILL);
    ASSERT_EQ(run.wait(5s), -SIGKILL) << run.output();
    ASSERT_EQ(sql(store, "PRAGMA integrity_check"), Rows{"ok"}) << round;
  }
  Process run(program(store, {"-N2", "-X20"}));
  EXPECT_TRUE(run.wait_for_output(kWriting, 20s)) << run.output() << run.errors();
  EXPECT_EQ(sql(store, "SELECT count(*) FROM sample WHERE time < 1346432400 + 18000"),
            Rows{std::to_string(20 * 5 * 360)});
}

}  // namespace kelptest
