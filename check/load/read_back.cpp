#include "load/read_back.h"

#include <algorithm>
#include <cstdlib>

#include "process/waiting.h"

namespace kelpcheck {

namespace {

constexpr int64_t kSlice = 10'000;  // seconds of a query
constexpr size_t kMostPoints = 10;  // of a session
constexpr int64_t kMostSnaps = 2'000;
constexpr double kSettle = 5;  // seconds after which what was acknowledged has to show
constexpr char kSeparator = '\t';

struct Expected {
  int64_t second;
  LoadValue value;
};

// Of one point, in order of time.
using Rows = std::vector<Expected>;

class Reader {
 public:
  Reader(const ReadBack &with, const LoadBoard &board, const LoadControl &control)
      : r_(with), board_(board), control_(control), stage_(board.stage), asked_(now_ns()) {
    const size_t count = std::min(r_.ids.size(), kMostPoints);
    for (size_t i = 0; i < count; ++i) {
      points_.push_back(static_cast<int32_t>(i * r_.ids.size() / count));
    }
    const int64_t *failed = stage_.failed_write;
    failed_.assign(failed, failed + std::min(stage_.failed_writes, kFailedWritesKept));
  }

  ReadBackAccount read();

 private:
  Rows filled(int32_t point) const;
  Rows written(int32_t point) const;
  bool failed(int64_t write) const {
    return std::binary_search(failed_.begin(), failed_.end(), write);
  }
  int32_t time_of(int64_t second) const { return static_cast<int32_t>(r_.options.begin + second); }
  std::string where(int32_t point, int64_t second) const;
  bool settled() const { return seconds_since(asked_) > kSettle || control_.stop; }

  void compare_history(int32_t point, const Rows &rows);
  std::vector<Sample> fetch(int32_t point, int64_t first, int64_t behind) const;
  void compare(int32_t point, const Expected &expected, const Sample *found);
  bool history_holds_any();
  void compare_current();
  void compare_snaps();

  const ReadBack &r_;
  const LoadBoard &board_;
  const LoadControl &control_;
  const StageBoard &stage_;
  int64_t asked_;
  std::vector<int32_t> points_;
  std::vector<int64_t> failed_;
  Evidence evidence_;
};

std::string Reader::where(int32_t point, int64_t second) const {
  return text("row of point ", point + 1, " of session ", r_.session_number + 1, " at ",
              clock_text(r_.options.begin + second));
}

Rows Reader::filled(int32_t point) const {
  Rows rows;
  const int64_t count = r_.work.filled() > 0 ? r_.options.rows : 0;
  for (int64_t second = 0; second < count; ++second) {
    rows.push_back({second, load_value(r_.session_number, point, second)});
  }
  return rows;
}

Rows Reader::written(int32_t point) const {
  Rows rows;
  const bool one_point = r_.options.doing == Doing::history;
  for (int64_t write = stage_.first_write; write < board_.writes; ++write) {
    const bool other_point = one_point && r_.work.point(write) != point;
    if (other_point || failed(write)) continue;
    const RowRange range = r_.work.range(write);
    for (int64_t second = range.first; second < range.first + range.count; ++second) {
      rows.push_back({second, load_value(r_.session_number, point, second)});
    }
  }
  return rows;
}

std::vector<Sample> Reader::fetch(int32_t point, int64_t first, int64_t behind) const {
  const History history =
      r_.session.history(Ids{r_.ids[static_cast<size_t>(point)]}, time_of(first), time_of(behind));
  std::vector<Sample> rows;
  for (int32_t left = history.rows(0); left > 0; --left) rows.push_back(history.next(0));
  return rows;
}

void Reader::compare(int32_t point, const Expected &expected, const Sample *found) {
  const auto place = [&] { return where(point, expected.second); };
  if (found == nullptr) {
    evidence_.that(false, place, show(expected.value.value), "no such row");
    return;
  }
  const LoadValue value{found->status, found->value};
  const auto words = [](const LoadValue &v) { return text(show(v.value), ", status ", v.status); };
  evidence_.that(value == expected.value, place, words(expected.value), words(value));
}

// In slices. One that is not complete is asked for again until it had time to settle.
void Reader::compare_history(int32_t point, const Rows &rows) {
  constexpr int64_t pause = 300'000'000;
  for (size_t first = 0; first < rows.size() && !control_.stop;) {
    const int64_t begin = rows[first].second, end = begin + kSlice;
    size_t behind = first;
    while (behind < rows.size() && rows[behind].second < end) ++behind;
    std::vector<Sample> found;
    std::vector<const Sample *> matches;
    for (;;) {
      found = fetch(point, begin, rows[behind - 1].second + 1);
      matches.assign(behind - first, nullptr);
      size_t at = 0, there = 0;
      for (size_t i = first; i < behind; ++i) {
        while (at < found.size() && found[at].time < time_of(rows[i].second)) ++at;
        if (at == found.size() || found[at].time != time_of(rows[i].second)) continue;
        matches[i - first] = &found[at];
        ++there;
      }
      if (there == behind - first || settled()) break;
      wait_until(now_ns() + pause, {});
    }
    for (size_t i = first; i < behind; ++i) compare(point, rows[i], matches[i - first]);
    first = behind;
  }
}

// Asked of all points until something shows or had time to.
bool Reader::history_holds_any() {
  constexpr int64_t pause = 300'000'000;
  for (;;) {
    bool any = false;
    for (const int32_t point : points_) {
      const Rows rows = written(point);
      if (rows.empty()) continue;
      any = true;
      const int64_t last = rows.back().second;
      const int64_t first = std::max(rows.front().second, last - kSlice);
      if (!fetch(point, first, last + 1).empty()) return true;
    }
    if (!any || settled()) return false;
    wait_until(now_ns() + pause, {});
  }
}

void Reader::compare_current() {
  const int64_t last = board_.writes - 1;
  if (last < stage_.first_write || failed(last)) return;
  Ids ids;
  for (const int32_t point : points_) ids.push_back(r_.ids[static_cast<size_t>(point)]);
  const int64_t second = r_.work.range(last).first;
  const Readings read = r_.session.values(ids);
  for (size_t i = 0; i < points_.size(); ++i) {
    const Sample row = read[i];
    const bool there = read.errors[i] == 0 && row.time == time_of(second);
    compare(points_[i], {second, load_value(r_.session_number, points_[i], second)},
            there ? &row : nullptr);
  }
}

void Reader::compare_snaps() {
  Ids ids;
  for (const int32_t point : points_) ids.push_back(r_.ids[static_cast<size_t>(point)]);
  const int64_t count = board_.writes - stage_.first_write;
  const int64_t looks = std::min(count, kMostSnaps);
  for (int64_t look = 0; look < looks && !control_.stop; ++look) {
    const int64_t write = stage_.first_write + look * count / looks;
    if (failed(write)) continue;
    const int64_t second = r_.work.range(write).first;
    const Readings read = r_.session.snap(ids, time_of(second));
    for (size_t i = 0; i < points_.size(); ++i) {
      const Sample row{time_of(second), read.statuses[i], read.values[i]};
      compare(points_[i], {second, load_value(r_.session_number, points_[i], second)},
              read.errors[i] == 0 ? &row : nullptr);
    }
  }
}

ReadBackAccount Reader::read() {
  for (const int32_t point : points_) compare_history(point, filled(point));
  std::string how = r_.work.filled() > 0 ? "history" : "";
  const bool wrote = board_.writes > stage_.first_write;
  if (!wrote) return {evidence_, how};
  if (stage_.failed_writes > kFailedWritesKept) {
    if (!how.empty()) how += ", but not of the last stage, in which too many calls failed";
    return {evidence_, how};
  }
  const bool current = r_.options.doing == Doing::write || r_.options.doing == Doing::mixed;
  if (r_.options.doing == Doing::snap) {
    compare_snaps();
    return {evidence_, "snapshots at the times written"};
  }
  if (current && !history_holds_any()) {
    compare_current();
    return {evidence_, "the last current values, as history has none of the rows"};
  }
  for (const int32_t point : points_) compare_history(point, written(point));
  return {evidence_, "history"};
}

std::vector<std::string> fields_of(const std::string &line) {
  std::vector<std::string> fields;
  for (size_t begin = 0; begin <= line.size();) {
    const size_t end = std::min(line.find(kSeparator, begin), line.size());
    fields.push_back(line.substr(begin, end - begin));
    begin = end + 1;
  }
  return fields;
}

}  // namespace

std::string ReadBackAccount::line() const {
  const Evidence &e = evidence;
  return text("account", kSeparator, e.compared, kSeparator, e.differences, kSeparator,
              printable(e.where), kSeparator, printable(e.expected), kSeparator, printable(e.got),
              kSeparator, how);
}

ReadBackAccount ReadBackAccount::from(const std::string &line) {
  std::vector<std::string> fields = fields_of(line);
  constexpr size_t all = 7;
  ReadBackAccount account;
  account.valid = fields.size() == all && fields[0] == "account";
  fields.resize(all);
  account.evidence.compared = std::strtoll(fields[1].c_str(), nullptr, 10);
  account.evidence.differences = std::strtoll(fields[2].c_str(), nullptr, 10);
  account.evidence.keep(fields[3], fields[4], fields[5]);
  account.how = fields[6];
  return account;
}

std::string ReadBack::account(const LoadBoard &board, const LoadControl &control) const {
  return Reader(*this, board, control).read().line();
}

}  // namespace kelpcheck
