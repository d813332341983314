// A round trip asks for as many points as make a page if each of them has somewhat more rows than
// those before turned out to have. A point that has even more is read to its end before the next.
#include "postgres/history.h"

#include <algorithm>

#include "postgres/conversion.h"
#include "postgres/known_points.h"

namespace kelp::postgres {

namespace {

constexpr size_t kRowsPerTrip = 32'768;  // whose results are in memory together
constexpr size_t kRowsAtFirst = 512;     // of a point
constexpr size_t kFewestRows = 32;       // likewise

const std::string kSelectRange =
    "SELECT time, status, value FROM kelp.sample"
    " WHERE point_id = $1 AND time >= $2 AND time < $3 ORDER BY time LIMIT $4";

class Reader {
 public:
  Reader(Session &session, const HistoryQuery &query, HistoryRows &rows)
      : session_(session), query_(query), rows_(rows) {}

  void read() {
    for (size_t first = 0; first < query_.ids.size();) {
      const size_t left = query_.ids.size() - first;
      const size_t count = std::min(left, std::max<size_t>(kRowsPerTrip / rows_to_ask_, 1));
      read_points(first, count);
      first += count;
    }
  }

 private:
  Command page(size_t point, int64_t begin, size_t limit) const {
    const Intervals &range = query_.intervals;
    return {kSelectRange,
            {int4(query_.ids[point]), int4(static_cast<int32_t>(begin)), int4(range.end),
             int4(static_cast<int32_t>(limit))}};
  }

  void read_points(size_t first, size_t count) {
    const size_t limit = rows_to_ask_;
    std::vector<Command> commands;
    for (size_t i = 0; i < count; ++i) {
      commands.push_back(page(first + i, query_.intervals.begin, limit));
    }
    if (first == 0) commands.push_back(which_exist(query_.ids));
    std::vector<Result> found = session_.exchange(commands);
    if (first == 0) known_ = std::move(found.back());
    size_t longest = 0;
    for (size_t i = 0; i < count; ++i) {
      if (!bool_at(known_, static_cast<int>(first + i), 0)) continue;
      longest = std::max(longest, read_point(first + i, std::move(found[i]), limit));
    }
    const size_t expected = std::max(longest + longest / 4 + 1, limit / 4);
    rows_to_ask_ = std::clamp(expected, kFewestRows, kRowsPerTrip);
  }

  // Reads a point whose first page was asked for with this limit; the number of its rows.
  size_t read_point(size_t point, Result found, size_t limit) {
    rows_.begin_point(point);
    size_t count = 0;
    for (int64_t begin = query_.intervals.begin;;) {
      const auto rows = static_cast<size_t>(PQntuples(found.get()));
      begin = take(found, begin);
      count += rows;
      if (rows < limit || begin >= query_.intervals.end) return count;
      limit = kRowsPerTrip;
      found = std::move(session_.exchange({page(point, begin, limit)})[0]);
    }
  }

  // Takes the rows of a page that begins at this time; where the next one begins.
  int64_t take(const Result &found, int64_t begin) {
    for (int row = 0; row < PQntuples(found.get()); ++row) {
      const Sample sample = sample_at(found, row, 0);
      if (sample.time < begin || sample.time >= query_.intervals.end) fail_malformed();
      rows_.add(sample);
      begin = int64_t{sample.time} + 1;
    }
    return begin;
  }

  Session &session_;
  const HistoryQuery &query_;
  HistoryRows &rows_;
  Result known_;
  size_t rows_to_ask_ = kRowsAtFirst;
};

// Servers that the samples are distributed over have no moment in common: of a point that was there
// at first, the samples may have been removed before they were asked for.
void forget_erased(Session &session, const HistoryQuery &query, HistoryRows &rows) {
  const Result known = std::move(session.exchange({which_exist(query.ids)})[0]);
  for (int row = 0; row < rows_of(known, query.ids.size()); ++row) {
    if (!bool_at(known, row, 0)) rows.forget(static_cast<size_t>(row));
  }
}

}  // namespace

std::unique_ptr<HistoryRows> read_history(Session &session, const HistoryQuery &query) {
  auto rows = std::make_unique<HistoryRows>(query);
  session.begin(Isolation::one_moment);
  try {
    Reader(session, query, *rows).read();
    session.commit();
  } catch (...) {
    session.roll_back();
    throw;
  }
  if (!session.engine().one_moment) forget_erased(session, query, *rows);
  rows->finish();
  return rows;
}

}  // namespace kelp::postgres
