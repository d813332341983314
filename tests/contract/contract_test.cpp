// What every engine has to keep to: handles, the tree and its static fields, samples written in
// every way there is and read back as current values, snapshots, history and statistics.
#include "contract.h"

#include <cfloat>

namespace kelptest {

INSTANTIATE_TEST_SUITE_P(Engine, Contract, testing::Values("sqlite", "postgres"),
                         [](const auto &engine) { return engine.param; });

TEST_P(Contract, MissingHandlesAndWrongCountsFailWithoutHarm) {
  int32_t i = 1, e = 99, one = 99;
  int16_t s = 0;
  double v = 0;
  ObjectHandle o = new_object("N", KindNode), *list = nullptr;
  ResultHandle r = reinterpret_cast<ResultHandle>(o);
  StatValue row;
  // All calls with entries: as many as the group has names, or else `n`; no arrays for none.
  const auto call_all = [&](ConnectionHandle k, GroupHandle g, int32_t n) {
    const auto at = [n](auto &array) { return n == 0 ? nullptr : &array; };
    return Codes{kelp2_modify_object(k, Insert, "W3", n, at(o), &e),
                 kelp2_get_id_byname(k, g, at(i)),
                 kelp2_get_object_byid(k, n, at(i), at(o), &e),
                 kelp2_get_object_byname(k, g, at(o), &e),
                 kelp2_write_value(k, 0, n, at(i), 5, at(s), at(v), &e),
                 kelp2_get_value_byid(k, n, at(i), at(i), at(s), at(v), &e),
                 kelp2_get_value_byname(k, g, at(i), at(s), at(v), &e),
                 kelp2_get_snap_byname(k, g, 5, at(s), at(v), &e),
                 kelp2_write_histroy_byid(k, 0, 1, n, at(i), at(s), at(v), &one),
                 kelp2_write_cache(k, 0, n, at(i), at(i), at(s), at(v), &e),
                 kelp2_get_history_byid(k, n, at(i), at(i), 0, 9, 1, at(r), &e),
                 kelp2_get_history_byname(k, g, at(i), 0, 9, 1, at(r), &e)};
  };
  EXPECT_EQ(call_all(c(), group_of({}), 0), Codes(12, 0));
  EXPECT_EQ(e, 99);  // belongs to nobody
  const Codes failures[] = {
      call_all(c(), nullptr, -1), call_all(nullptr, group_of({"W3.N"}), 1),
      Codes{kelp2_status(nullptr), kelp2_get_system_time(nullptr, &i),
            kelp2_get_child(nullptr, "W3", &i, &list), kelp2_fetch_timed_value(nullptr, &i, &s, &v),
            kelp2_fetch_stat_value(nullptr, &row), kelp2_fetch_stat_value(nullptr, &row) - 1,
            kelp2_write_snap(c(), 0, 16'777'217, &i, 5, &s, &v, &e)}};
  for (const Codes &codes : failures) EXPECT_EQ(std::count(codes.begin(), codes.end(), 0), 0);
  EXPECT_TRUE(!o && !r && !kelp2_new_object(nullptr, "N", KindNode) && !kelp2_num_rows(nullptr));
}

TEST_P(Contract, EveryConnectionSeesEverythingAtOnce) {
  const int32_t id = make_points(1)[0];
  Connection other = connect(8);
  Rows rows;
  for (const Way way : kWays) {
    rows.push_back({100 + way, 0, 1.5});
    EXPECT_TRUE(wrote(way, id, {rows.back()}));
    std::swap(connection_, other);  // what one wrote the other reads, and goes on writing
    EXPECT_EQ(history(id), rows) << way;
    EXPECT_EQ(value_of(id, rows.back().time), rows.back()) << way;
  }
  EXPECT_EQ(value_of(id), rows.back());
  connection_.reset(), other.reset();
  connection_ = connect();
  EXPECT_EQ(ids_of({"W3.N.P0"}), Ids{id});
  EXPECT_EQ(history(id), rows);
}

TEST_P(Contract, EntriesOfTheTreeSucceedAndFailAlone) {
  const Ids ids = make_points(2);
  EXPECT_EQ(ids_of({"W3.N.P1", "W3.N.none", "W3.N", "", "W3.N.P0"}),
            (Ids{ids[1], 0, 0, 0, ids[0]}));
  const std::vector<ObjectHandle> objects{new_object("A", R8), new_object("P0", R8), nullptr,
                                          new_object("A", DX), new_object("B", I2)};
  for (const int32_t operation : {Insert, Update, Delete}) {
    const Codes errors = modify(operation, "W3.N", objects);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(errors[i] == 0, i == 0 || i == 4) << operation << i;
    EXPECT_EQ(children("W3.N"), operation == Delete ? "P0.P1." : "P0.P1.A.B.");
  }
  const std::pair<const char *, ObjectHandle> refused[] = {
      {"W3", new_object("N", KindNode)},   {"W3.N", new_object("P0", I4)},
      {"none", new_object("M", KindNode)}, {"W3.N.P0", new_object("M", AX)},
      {"W3", new_object("M", AX)},         {"W3.N", new_object("M", KindNode)}};
  for (const auto &[in, made] : refused) EXPECT_NE(modify(Insert, in, {made}), kDone) << in;
  EXPECT_TRUE(children("W3.N") == "P0.P1." && !object("W3.M") && !object("none.M"));
  EXPECT_TRUE(!new_object("M", 17) && !new_object("", AX) && !new_object("A.B", AX));
  ObjectHandle points[] = {object("W3.N.P0"), object("W3.N.P0")};
  for (const auto &[connection, operation] : {std::pair(c(), 4), {nullptr, int(Delete)}}) {
    Codes errors(2, 0);  // a call that failed as a whole fills them too
    EXPECT_LT(kelp2_modify_object(connection, operation, "W3.N", 2, points, errors.data()), 0);
    EXPECT_TRUE(errors[0] != 0 && errors[1] != 0) << operation;
  }
}

TEST_P(Contract, FieldsComeBackAsTheyWereAndOnlyChangesAreSent) {
  const std::string texts[] = {"it's \"quoted\"; -- \\n %s $1 ?", "", "\u6d77\u85fb \U0001f33f",
                               std::string(100'000, 'x')};
  const int32_t n[] = {0, -1, INT32_MIN, INT32_MAX};
  const double values[] = {-0.0, 0.1, DBL_MAX, DBL_TRUE_MIN, HUGE_VAL, -HUGE_VAL, NAN};
  const char *const fields[] = {"FQ", "AR", "HW"};
  make_points(1);
  for (size_t i = 0; i < std::size(values); ++i) {
    const std::string node = "M" + std::to_string(i);
    ObjectHandle made = new_object(node, KindNode), point = object("W3.N.P0");
    for (ObjectHandle o : {made, point}) {
      kelp2_object_set_string(o, "ED", texts[i % 4].c_str());
      for (int f = 0; f < 3; ++f) kelp2_object_set_int(o, fields[f], n[(i + f) % 4]);
      kelp2_object_set_double(o, "IV", values[i]);
    }
    EXPECT_EQ(modify(Insert, "W3", {made}), kDone);
    EXPECT_EQ(modify(Update, "W3.N", {point}), kDone);
    for (ObjectHandle o : {object("W3." + node), object("W3.N.P0")}) {
      EXPECT_EQ(text(o, "ED"), texts[i % 4]);
      for (int f = 0; f < 3; ++f) EXPECT_EQ(kelp2_object_get_int(o, fields[f]), n[(i + f) % 4]);
      EXPECT_EQ((Row{0, 0, kelp2_object_get_double(o, "IV")}), (Row{0, 0, values[i]}));
    }
  }
  ObjectHandle mine = object("W3.N.P0"), theirs = object("W3.N.P0");
  kelp2_object_set_string(mine, "ED", "mine");
  kelp2_object_set_int(theirs, "HW", 7);
  EXPECT_EQ(modify(Update, "W3.N", {mine, theirs}), Codes(2, 0));
  kelp2_object_set_string(theirs, "ED", "theirs");
  kelp2_object_set_int(mine, "AR", 5);  // ED was sent before
  EXPECT_EQ(modify(Update, "W3.N", {theirs, mine}), Codes(2, 0));
  EXPECT_NE(modify(Update, "W3", {mine}), kDone);  // not its parent
  ObjectHandle read = object("W3.N.P0");
  EXPECT_TRUE(kelp2_object_get_int(read, "HW") == 7 && kelp2_object_get_int(read, "AR") == 5);
  char buffer[] = "########";
  EXPECT_EQ(kelp2_object_get_string(read, "ED", buffer, 4), 0);
  EXPECT_EQ(std::string(buffer, 8), std::string("the\0####", 8));
}

TEST_P(Contract, HistoryGoesWithItsPointAndIdsAreNeverReused) {
  const Connection other = connect();
  Ids gone;
  for (int round = 0; round < 3; ++round) {
    const Ids ids = make_points(2);
    EXPECT_NE(modify(Delete, "W3", {object("W3.N")}), kDone);  // which is not empty
    ObjectHandle points[] = {object("W3.N.P0"), object("W3.N.P1")};
    for (const int32_t id : ids) {
      EXPECT_EQ(std::count(gone.begin(), gone.end(), id), 0);
      EXPECT_TRUE(history(id).empty() && !value_of(id, INT32_MAX) && !value_of(id));
      for (const Way way : kWays) EXPECT_TRUE(wrote(way, id, {{100 + way, 1, 2.5}}));
    }
    gone.insert(gone.end(), ids.begin(), ids.end());
    int32_t errors[2];
    EXPECT_EQ(kelp2_modify_object(other.get(), Delete, "W3.N", 2, points, errors), 2);
    // The connection that wrote to the points a moment ago knows that they are gone.
    for (const Way way : kWays) EXPECT_FALSE(wrote(way, ids[way % 2], {{500, 0, 1.0}})) << way;
    EXPECT_EQ(modify(Delete, "W3", {object("W3.N")}), kDone);
  }
}

TEST_P(Contract, LaterWriteWinsWhateverTheWays) {
  const Ids ids = make_points(std::size(kWays) + 1);
  int32_t time = 0;
  for (const Way first : kWays) {
    for (const Way second : kWays) {
      EXPECT_TRUE(wrote(first, ids[0], {{++time, 1, 1.5}}));
      EXPECT_TRUE(wrote(second, ids[0], {{time, -2, 2.5}}));
      EXPECT_EQ(value_of(ids[0], time), (Row{time, -2, 2.5})) << first << second;
    }
  }
  Rows rows, expected(150);  // and within a call, for the same point and time
  for (int32_t i = 0; i < 500; ++i) rows.push_back({i * 7 % 150, int16_t(i), i + 0.123});
  for (const Row &row : rows) expected[row.time] = row;
  for (const Way way : kWays) {
    const int32_t id = ids[1 + way];
    EXPECT_TRUE(wrote(way, id, rows));
    EXPECT_EQ(history(id), expected) << way;
    EXPECT_TRUE(wrote(way, id, {{50, 1, 1.5}, {50, 2, 2.5}, {50, 7, 3.5}}));
    EXPECT_EQ(value_of(id, 50), (Row{50, 7, 3.5})) << way;
    // Only the real-time way sets the current value: to that of the latest call, though older.
    EXPECT_EQ(value_of(id), way == kRealtime ? value_of(id, 50) : std::nullopt) << way;
  }
}

TEST_P(Contract, SamplesComeBackToTheBitAtTheirTimes) {
  const Rows rows{{INT32_MIN, 0, -0.0},
                  {-20, -1, 0.1},
                  {-10, INT16_MIN, DBL_MAX},
                  {0, INT16_MAX, DBL_TRUE_MIN},
                  {10, 1, HUGE_VAL},
                  {20, 2, -HUGE_VAL},
                  {30, 3, NAN},
                  {INT32_MAX - 1, 4, 0.5}};
  const Ids ids = make_points(std::size(kWays));
  for (const Way way : kWays) {
    const int32_t id = ids[way];
    EXPECT_TRUE(wrote(way, id, {rows.begin() + 1, rows.end()}));
    EXPECT_EQ(value_of(id, rows[1].time - 1), std::nullopt);
    EXPECT_TRUE(wrote(way, id, {rows[0]}));
    EXPECT_EQ(history(id), rows) << way;
    for (Row row : rows) {
      EXPECT_EQ(value_of(id, row.time), row) << way;
      ++row.time;  // when it is still the newest
      EXPECT_EQ(value_of(id, row.time), row) << way;
    }
  }
  for (const Row &row : rows) {
    EXPECT_TRUE(wrote(kRealtime, ids[0], {row}));
    EXPECT_EQ(value_of(ids[0]), row);
  }
}

TEST_P(Contract, UnknownPointsFailAlone) {
  const Ids ids = make_points(3);
  EXPECT_EQ(modify(Delete, "W3.N", {object("W3.N.P2")}), kDone);
  const Ids asked{ids[0], 0, -1, ids[2], ids[0] - 1, INT32_MAX, ids[1], ids[0]};  // also the node's
  const auto check = [&](const char *call, int32_t result, const int32_t *errors) {
    EXPECT_EQ(result, 0) << call;
    for (size_t i = 0; i < 8; ++i) EXPECT_EQ(errors[i] == 0, i == 0 || i > 5) << call << i;
  };
  const auto all_at = [](int32_t time) { return Rows(8, {time, 3, 1.5}); };
  check("cache", 0, write(kCache, asked, all_at(10)).data());
  check("snap", 0, write(kSnapshot, asked, all_at(20)).data());
  check("value", 0, write(kRealtime, asked, all_at(30)).data());
  for (const Way way : kWays) EXPECT_FALSE(wrote(way, ids[2], {{10, 3, 1.5}})) << way;
  EXPECT_EQ(history(ids[0]), (Rows{{10, 3, 1.5}, {20, 3, 1.5}, {30, 3, 1.5}}));
  EXPECT_EQ(history(ids[1]), history(ids[0]));
  int32_t times[8], e[8];
  int16_t s[8];
  double v[8];
  ObjectHandle objects[8];
  ResultHandle results[8];
  const int32_t *a = asked.data(), modes[8] = {};
  check("get value", kelp2_get_value_byid(c(), 8, a, times, s, v, e), e);
  check("get snap", kelp2_get_snap_byid(c(), 8, a, 20, s, v, e), e);
  check("get object", kelp2_get_object_byid(c(), 8, a, objects, e), e);
  check("query", kelp2_get_history_byid(c(), 8, a, modes, 0, 99, 1, results, e), e);
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(kelp2_num_rows(results[i]), e[i] == 0 ? 3 : 0) << i;
    kelp2_free_result(results[i]), kelp2_free_object(objects[i]);
  }
}

TEST_P(Contract, RangesAndStatisticsAsWorkedOutByHand) {
  const int32_t id = make_points(1)[0];
  EXPECT_TRUE(wrote(kCache, id, {{1000, -1, 2}, {1004, -1, 6}, {1008, -1, 4}, {1022, -1, -3}}));
  EXPECT_TRUE(wrote(kCache, id, {{INT32_MIN, 0, 7}, {2005, 0, 10}, {2009, 0, 20}, {INT32_MAX}}));
  // A row: time, status, flow, max, min, maxtime, mintime, avg, mean, stdev.
  const std::string whole = "1000 -1 79 6 -3 1004 1022 3.16 2.25 3.34477204006491\n";
  struct {
    int32_t begin, end, step;
    std::string rows;
    size_t samples;
  } const cases[] = {
      // An empty interval is left out and the last one is cut; the end is not part of the range.
      {1000, 1025, 10,
       "1000 -1 40 6 2 1004 1000 4 4 1.63299316185545\n1020 -1 -9 -3 -3 1022 1022 -3 -3 0\n", 4},
      {1000, 1008, 10, "1000 -1 32 6 2 1004 1000 4 4 2\n", 2},
      // Intervals count from the beginning of the range, the curve begins with the first sample.
      {1003, 1025, 10,
       "1003 -1 44 6 4 1004 1008 4.88888888888889 5 1\n1013 -1 -3 -3 -3 1022 1022 -3 -3 0\n", 3},
      {1000, 1025, -1, whole, 4},
      {1000, 1025, 0, whole, 4},
      {2006, INT32_MAX, INT32_MAX, "2006 0 42949632760 20 20 2009 2009 20 20 0\n", 1},
      {INT32_MIN, INT32_MIN + 1, 9, "-2147483648 0 7 7 7 -2147483648 -2147483648 7 7 0\n", 1},
      {-1, 1001, INT32_MAX, "-1 -1 2 2 2 1000 1000 2 2 0\n", 1},
      {1025, 1000, 10, "", 0}};
  for (const auto &[begin, end, step, rows, samples] : cases) {
    const Result result = query({id}, HistoryStatistics, begin, end, step)[0];
    std::string read;
    char line[300];
    StatValue r;
    for (int32_t left = kelp2_num_rows(result.get()); left > 0; --left) {
      EXPECT_EQ(kelp2_fetch_stat_value(result.get(), &r), left == 1 ? 1 : 0);
      snprintf(line, sizeof line, "%d %d %.15g %.15g %.15g %d %d %.15g %.15g %.15g\n", r.time,
               r.status, r.flow, r.max, r.min, r.maxtime, r.mintime, r.avg, r.mean, r.stdev);
      read += line;
    }
    EXPECT_LT(kelp2_fetch_stat_value(result.get(), &r), 0);
    EXPECT_EQ(read, rows) << begin << ' ' << end << ' ' << step;
    EXPECT_EQ(history(id, begin, end).size(), samples) << begin << ' ' << end;
  }
}

TEST_P(Contract, ResultsAreExactInWhateverOrderTheyAreRead) {
  // Points without rows, with a few, and two with more than are held at a time.
  const Ids ids = make_points(1500);
  std::vector<Rows> rows(1500);
  Ids row_ids;
  Rows all;
  for (int32_t point = 0; point < 1500; ++point) {
    for (int32_t j = point % 700 == 3 ? 9001 : point % 9; j > 0; --j) {
      row_ids.push_back(ids[point]);
      all.push_back({-j, int16_t(point), point * 1e6 + j});
      rows[point].push_back(all.back());
    }
  }
  EXPECT_EQ(write(kCache, row_ids, all), Codes(all.size(), 0));
  // Goes `rounds` times through the results and reads a part of each; some are released unread.
  const auto read = [&](bool backwards, size_t rounds) {
    std::vector<Result> results = query(ids, HistoryTimed, INT32_MIN, 0, 1);
    std::vector<size_t> next(1500);
    if (backwards && rounds == 7) connection_.reset();  // which results outlive
    for (size_t visit = 0; visit < 1500 * rounds; ++visit) {
      const size_t i = backwards ? 1499 - visit % 1500 : visit % 1500;
      if (rounds == 2 && i % 3 == 0) results[i].reset();
      if (!results[i]) continue;
      const size_t until = std::min(next[i] + rows[i].size() / rounds + 1, rows[i].size());
      for (; next[i] < until; ++next[i]) ASSERT_EQ(fetch(results[i].get()), rows[i][next[i]]) << i;
      ASSERT_EQ(kelp2_num_rows(results[i].get()), int32_t(rows[i].size())) << i;
    }
  };
  for (const size_t rounds : {1, 2, 7}) read(false, rounds), read(true, rounds);
}

}  // namespace kelptest
