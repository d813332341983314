// Rows written in every way there is, and read back as history, snapshots and current values.
#include <cfloat>
#include <cmath>

#include "contract.h"

namespace kelptest {

TEST_P(Contract, EveryConnectionSeesEverythingAtOnce) {
  const int32_t id = connection_.make_points(1)[0];
  constexpr int32_t lazy_commits = 8;
  Connection other(login_, lazy_commits);
  Rows rows;
  for (const Way &way : kWays) {
    SCOPED_TRACE(way.name);
    rows.push_back({static_cast<int32_t>(rows.size()), 0, 1.5});
    EXPECT_EQ(way.write(connection_, id, {rows.back()}), 0);
    std::swap(connection_, other);  // what one wrote the other reads, and goes on writing
    EXPECT_EQ(value_of(id, rows.back().time), rows.back());
    EXPECT_EQ(connection_.history(id), rows);
  }
  EXPECT_EQ(value_of(id), rows.back());
  connection_.close();
  other.close();
  connection_ = Connection(login_);
  EXPECT_EQ(connection_.ids_of({"W3.N.P0"}), Ids{id});
  EXPECT_EQ(connection_.history(id), rows);
}

TEST_P(Contract, TheLaterWriteWinsWhateverTheWays) {
  const int32_t id = connection_.make_points(1)[0];
  int32_t time = 0;
  for (const Way &first : kWays) {
    for (const Way &second : kWays) {
      ++time;
      EXPECT_EQ(first.write(connection_, id, {{time, 1, 1.5}}), 0);
      EXPECT_EQ(second.write(connection_, id, {{time, -2, 2.5}}), 0);
      EXPECT_EQ(value_of(id, time), (Row{time, -2, 2.5})) << first.name << ", " << second.name;
    }
  }
}

TEST_P(Contract, TheLaterRowOfACallWins) {
  const Ids ids = connection_.make_points(static_cast<int>(kWays.size()));
  Rows written;
  Rows expected(70);
  for (int32_t i = 0; i < 210; ++i) {
    const int32_t time = i * 11 % 70;
    written.push_back({time, static_cast<int16_t>(i), i + 0.123});
    expected[time] = written.back();
  }
  const Rows same_time{{50, 1, 1.5}, {50, 2, 2.5}, {50, 7, 3.5}};
  for (size_t i = 0; i < kWays.size(); ++i) {
    SCOPED_TRACE(kWays[i].name);
    EXPECT_EQ(kWays[i].write(connection_, ids[i], written), 0);
    EXPECT_EQ(connection_.history(ids[i]), expected);
    EXPECT_EQ(kWays[i].write(connection_, ids[i], same_time), 0);
    EXPECT_EQ(value_of(ids[i], 50), same_time.back());
  }
}

TEST_P(Contract, OnlyCurrentValuesSetTheCurrentValueWhateverItsTime) {
  const int32_t id = connection_.make_points(1)[0];
  EXPECT_EQ(connection_.write_value({id}, {{20, 2, 2.5}}), Codes{0});
  EXPECT_EQ(connection_.write_value({id}, {{10, 1, 1.5}}), Codes{0});
  EXPECT_EQ(connection_.write_snap({id}, {{30, 3, 3.5}}), Codes{0});
  EXPECT_EQ(connection_.write_cache({id}, {{40, 4, 4.5}}), Codes{0});
  EXPECT_EQ(value_of(id), (Row{10, 1, 1.5}));
  EXPECT_EQ(value_of(id, 40), (Row{40, 4, 4.5}));
}

TEST_P(Contract, RowsComeBackToTheBitAtTheirTimes) {
  const Rows rows{{INT32_MIN, 0, -0.0},
                  {-20, -1, 0.1},
                  {-10, INT16_MIN, DBL_MAX},
                  {0, INT16_MAX, DBL_TRUE_MIN},
                  {10, 1, HUGE_VAL},
                  {20, 2, -HUGE_VAL},
                  {30, 3, NAN},
                  {INT32_MAX - 1, 4, 0.5}};
  const Ids ids = connection_.make_points(static_cast<int>(kWays.size()));
  for (size_t i = 0; i < kWays.size(); ++i) {
    SCOPED_TRACE(kWays[i].name);
    EXPECT_EQ(kWays[i].write(connection_, ids[i], Rows(rows.begin() + 1, rows.end())), 0);
    EXPECT_EQ(value_of(ids[i], rows[1].time - 1), std::nullopt);
    EXPECT_EQ(kWays[i].write(connection_, ids[i], {rows[0]}), 0);
    EXPECT_EQ(connection_.history(ids[i]), rows);
    for (Row row : rows) {
      EXPECT_EQ(value_of(ids[i], row.time), row);
      ++row.time;  // when it is still the newest
      EXPECT_EQ(value_of(ids[i], row.time), row);
    }
  }
  for (const Row &row : rows) {
    EXPECT_EQ(connection_.write_value({ids[0]}, {row}), Codes{0});
    EXPECT_EQ(value_of(ids[0]), row);
  }
}

// Of which points something was read.
template <typename Entries>
std::vector<bool> found(const Entries &entries) {
  std::vector<bool> result;
  for (const auto &entry : entries) result.push_back(static_cast<bool>(entry));
  return result;
}

TEST_P(Contract, UnknownPointsFailAlone) {
  const Ids ids = connection_.make_points(3);
  EXPECT_EQ(connection_.erase("W3.N", "P2"), 0);
  for (const Way &way : kWays) EXPECT_NE(way.write(connection_, ids[2], {{1, 3, 1.5}}), 0);

  const int32_t first = ids[0], node = first - 1;
  const Ids asked{first, 0, -1, ids[2], node, INT32_MAX, ids[1], first};
  const Codes codes{0, -4, -4, -4, -4, -4, 0, 0};
  const std::vector<bool> known{true, false, false, false, false, false, true, true};
  const auto all_at = [&](int32_t time) { return Rows(asked.size(), {time, 3, 1.5}); };
  EXPECT_EQ(connection_.write_cache(asked, all_at(10)), codes);
  EXPECT_EQ(connection_.write_snap(asked, all_at(20)), codes);
  EXPECT_EQ(connection_.write_value(asked, all_at(30)), codes);
  const Rows rows{{10, 3, 1.5}, {20, 3, 1.5}, {30, 3, 1.5}};
  EXPECT_EQ(connection_.history(ids[0]), rows);
  EXPECT_EQ(connection_.history(ids[1]), rows);

  EXPECT_EQ(found(connection_.current(asked)), known);
  EXPECT_EQ(found(connection_.snapshot(asked, 20)), known);
  EXPECT_EQ(found(connection_.objects(asked)), known);
  const std::vector<Result> results = connection_.query(asked, HistoryTimed);
  EXPECT_EQ(found(results), known);
  EXPECT_EQ(kelp2_num_rows(results.back().get()), 3);
}

TEST_P(Contract, NamesStandForTheirPoints) {
  const int32_t id = connection_.make_points(1)[0];
  const Row row{10, 1, 1.5};
  EXPECT_EQ(connection_.write_value({id}, {row}), Codes{0});
  ConnectionHandle handle = connection_.handle();
  const Group group = group_of({"W3.N.none", "W3.N.P0"});
  int32_t times[2], errors[2];
  int16_t statuses[2];
  double values[2];
  EXPECT_EQ(kelp2_get_value_byname(handle, group.get(), times, statuses, values, errors), 0);
  EXPECT_NE(errors[0], 0);
  EXPECT_EQ(errors[1], 0);
  EXPECT_EQ((Row{times[1], statuses[1], values[1]}), row);
  EXPECT_EQ(kelp2_get_snap_byname(handle, group.get(), 10, statuses, values, errors), 0);
  EXPECT_NE(errors[0], 0);
  EXPECT_EQ(errors[1], 0);
  EXPECT_EQ((Row{10, statuses[1], values[1]}), row);

  const auto write_next = [&](const char *name) {
    const Row next{20, 2, 2.5};
    int32_t error = 99;
    kelp2_write_histroy_byname(handle, 0, name, 1, &next.time, &next.status, &next.value, &error);
    return error;
  };
  EXPECT_NE(write_next("W3.N.none"), 0);
  EXPECT_EQ(write_next("W3.N.P0"), 0);
  const int32_t modes[2] = {HistoryTimed, HistoryTimed};
  ResultHandle results[2];
  EXPECT_EQ(kelp2_get_history_byname(handle, group.get(), modes, 0, 99, 1, results, errors), 0);
  EXPECT_EQ(kelp2_num_rows(results[0]), 0);
  EXPECT_EQ(kelp2_num_rows(results[1]), 2);
  for (ResultHandle result : results) kelp2_free_result(result);
}

}  // namespace kelptest
