// Writers and programs that are killed at any moment.
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fixture.h"
#include "support/random.h"

namespace kelptest {

class Killed : public FileTest {
 protected:
  // Calls write the three rows from their time on, or its one row, in ever another way.
  static Rows rows_of_call(int32_t time) {
    Rows rows;
    for (int32_t row = time; row < time + (time / 3 % 4 < 2 ? 3 : 1); ++row) {
      rows.push_back({row, 0, row + 0.123});
    }
    return rows;
  }
  static int32_t call(const Connection &connection, int32_t point, int32_t time) {
    const Rows rows = rows_of_call(time);
    const Ids ids(rows.size(), point);
    switch (time / 3 % 4) {
      case 0: return connection.write_history(point, rows);
      case 1: return first_failure(connection.write_cache(ids, rows));
      case 2: return first_failure(connection.write_snap(ids, rows));
      default: return first_failure(connection.write_value(ids, rows));
    }
  }
  // After each call that succeeded its time goes into a pipe.
  void write_until_killed(int32_t time, int acknowledged) const {
    const Connection connection(login_);
    for (const int32_t point = first_point(); call(connection, point, time) == 0; time += 3) {
      if (write(acknowledged, &time, sizeof time) != sizeof time) return;
    }
  }

  Random random_;
};

TEST_F(Killed, AWriterLosesNothingAcknowledgedAndLeavesNoHalfCall) {
  make_store(store_);
  Lines expected;
  int32_t next = 0;
  const auto expect_call = [&] {
    for (const Row &row : rows_of_call(next)) expected.push_back(std::to_string(row.time));
    next += 3;
  };
  for (int run = 0; run < 25; ++run) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t writer = fork();
    if (writer == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      write_until_killed(next, ends[1]);
      _exit(1);
    }
    close(ends[1]);
    usleep(random_() % 300'000);
    kill(writer, SIGKILL);
    int status = 0;
    ASSERT_TRUE(waitpid(writer, &status, 0) == writer && WIFSIGNALED(status)) << status;
    for (int32_t time = 0; read(ends[0], &time, sizeof time) == sizeof time;) expect_call();
    close(ends[0]);
    ASSERT_TRUE(Connection(login_).open());
    const Lines found = sql(
        store_, "SELECT time FROM sample WHERE time < 1e9 AND value = time + 0.123 ORDER BY time");
    if (found.size() > expected.size()) expect_call();  // which was done and not reported
    ASSERT_EQ(found, expected) << run;
    expect_intact();
  }
  EXPECT_GT(next, 1000);
}

TEST_F(Killed, AProgramLeavesAStoreForTheNextRun) {
  const std::vector<std::string> options{"-N2", "-X20"};
  for (int round = 0; round < 20; ++round) {
    Program program(login_, options);
    usleep(random_() % 700'000);
    program.signal(SIGKILL);
    ASSERT_EQ(program.wait(5s), -SIGKILL) << program.output();
    expect_intact();
  }
  const Program program(login_, options);
  EXPECT_TRUE(program.wait_for_output(kWriting, 20s)) << program.output() << program.errors();
  EXPECT_EQ(sql(store_, "SELECT count(*) FROM sample WHERE time < 1346432400 + 18000"),
            Lines{std::to_string(20 * 5 * 360)});
}

}  // namespace kelptest
