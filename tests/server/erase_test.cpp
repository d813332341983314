// Points that are deleted while others write to them, and points whose samples take long to remove.
#include <random>

#include "fixture.h"

namespace kelptest {

class Erase : public ServerTest {
 protected:
  static Names names_of(int count) {
    Names names;
    for (int i = 0; i < count; ++i) names.push_back("W3.N.P" + std::to_string(i));
    return names;
  }
  // Deletes these points of W3.N in one call.
  static Codes erase_all(const Connection &connection, const Names &names) {
    std::vector<Object> found;
    std::vector<ObjectHandle> handles;
    for (const std::string &name : names) {
      found.push_back(connection.object(name));
      handles.push_back(found.back().get());
    }
    return connection.modify(Delete, "W3.N", handles);
  }
  // Makes the removal of samples slow: a second for 5,000 rows.
  void slow_down() const {
    sql("CREATE FUNCTION public.wait() RETURNS trigger LANGUAGE plpgsql AS"
        " 'BEGIN PERFORM pg_sleep(0.0001); RETURN OLD; END'");
    sql("CREATE TRIGGER slow BEFORE DELETE ON kelp.sample FOR EACH ROW"
        " EXECUTE FUNCTION public.wait()");
  }
  void fill(int rows) const {
    sql("INSERT INTO kelp.sample SELECT id, time, 0, 1.5 FROM kelp.object, generate_series(1, " +
        std::to_string(rows) + ") AS time WHERE kind >= 32");
  }
  std::string samples() const { return sql("SELECT count(*) FROM kelp.sample"); }
};

// Writers of all points in their own order, deleters of some in theirs: nobody waits for long, no
// transaction is undone for the sake of another, and no sample is left without its point.
TEST_F(Erase, WritersAndDeletersDoNotDisturbEachOther) {
  constexpr int points = 60;
  for (const std::string level : {"read committed", "repeatable read", "serializable"}) {
    SCOPED_TRACE(level);
    login_ = with(server().new_database());
    server().sql("ALTER ROLE " + login_.name + " SET default_transaction_isolation TO '" + level +
                 "'");
    Connection(login_).make_points(points);
    std::atomic<int> writes = 0, erased = 0, failures = 0;
    std::atomic<double> longest = 0;
    const auto repeat = [&](int seed, auto &&round) {
      std::mt19937 random(seed);
      const Connection connection(login_);
      const auto end = Clock::now() + 1500ms;
      Names names = names_of(points);
      while (Clock::now() < end) {
        std::shuffle(names.begin(), names.end(), random);
        longest = std::max(longest.load(), seconds([&] { round(connection, names); }));
      }
    };
    const auto write_round = [&](const Connection &connection, const Names &names) {
      const Codes codes = connection.write_cache(connection.ids_of(names), Rows(points, {7}));
      const bool wrote = codes.size() == points && std::count(codes.begin(), codes.end(), 0) > 0;
      ++(wrote ? writes : failures);
    };
    const auto erase_round = [&](const Connection &connection, const Names &names) {
      const Names some(names.begin(), names.begin() + 10);
      const Codes codes = erase_all(connection, some);
      erased += static_cast<int>(std::count(codes.begin(), codes.end(), 0));
      for (const std::string &name : some) connection.insert("W3.N", name.substr(5), R8);
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back([&, i] { repeat(i, write_round); });
    for (int i = 4; i < 7; ++i) threads.emplace_back([&, i] { repeat(i, erase_round); });
    for (std::thread &thread : threads) thread.join();
    EXPECT_GT(writes, 20);
    EXPECT_GT(erased, 20);
    EXPECT_EQ(failures, 0);
    EXPECT_LT(longest, 1.8);
    EXPECT_EQ(server().sql("SELECT deadlocks FROM pg_stat_database WHERE datname = '" +
                           login_.name + "'"),
              "0");
    const char *orphans =
        "SELECT count(*) FROM kelp.sample WHERE point_id NOT IN (SELECT id FROM kelp.object)";
    EXPECT_TRUE(wait_for(2s, [&] { return Connection(login_).open() && sql(orphans) == "0"; }));
  }
}

// The deletion is the call: what has to be cleared up behind it is left where somebody holds it.
TEST_F(Erase, ClearingUpWaitsForNobody) {
  login_.bound = 6;
  const Connection connection(login_);
  connection.make_points(3);
  fill(10);
  std::thread holder(
      [&] { sql("BEGIN; LOCK TABLE kelp.sample IN SHARE MODE; SELECT pg_sleep(4); ROLLBACK"); });
  EXPECT_TRUE(wait_for(
      5s, [&] { return sql("SELECT count(*) FROM pg_locks WHERE mode = 'ShareLock'") != "0"; }));
  EXPECT_LT(seconds([&] { EXPECT_EQ(erase_all(connection, names_of(3)), Codes(3, 0)); }), 1.5);
  EXPECT_EQ(samples(), "30");
  EXPECT_EQ(sql("SELECT count(*) FROM kelp.sample JOIN kelp.object ON object.id = point_id"), "0");
  holder.join();
  EXPECT_TRUE(Connection(login_).open());
  EXPECT_EQ(samples(), "0");
}

// However many samples there are, the call ends in time, the points are gone at once, and whoever
// comes next removes what is left.
TEST_F(Erase, SamplesThatTakeLongToRemoveAreRemovedInPieces) {
  login_.bound = 1;
  const Connection connection(login_);
  const Ids ids = connection.make_points(3);
  const std::vector<Result> open = connection.query(ids, HistoryTimed);
  fill(1500);
  slow_down();
  const double taken = seconds([&] { EXPECT_EQ(erase_all(connection, names_of(3)), Codes(3, 0)); });
  EXPECT_LT(taken, 1.5);
  EXPECT_NE(samples(), "0");
  EXPECT_EQ(connection.ids_of(names_of(3)), Ids(3, 0));
  EXPECT_EQ(connection.snapshot(ids, 9000), Readings(3));
  for (const Result &result : open) EXPECT_EQ(kelp2_num_rows(result.get()), 0);
  EXPECT_EQ(connection.status(), 0);
  EXPECT_TRUE(wait_for(20s, [&] { return Connection(login_).open() && samples() == "0"; }));
}

}  // namespace kelptest
