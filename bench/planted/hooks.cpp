#include "hooks.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <tuple>

namespace planted {

Date date_of(int32_t time) {
  Date date{};
  real().decode_time(time, &date.year, &date.month, &date.day, &date.hour, &date.minute,
                     &date.second);
  return date;
}

int32_t time_now(ConnectionHandle connection) {
  int32_t now = 0;
  real().get_system_time(connection, &now);
  return now;
}

Sample current_of(ConnectionHandle connection, int32_t id) {
  Sample sample{id, 0, 0, 0};
  real().get_value_byid(connection, 1, &id, &sample.time, &sample.status, &sample.value,
                        &sample.error);
  return sample;
}

StatValue statistics_of(const std::vector<Row> &rows, int32_t end) {
  StatValue result{};
  result.time = result.maxtime = result.mintime = rows[0].time;
  result.max = result.min = rows[0].value;
  double squares = 0;
  for (size_t i = 0; i < rows.size(); ++i) {
    const Row &row = rows[i];
    const int32_t until = i + 1 < rows.size() ? rows[i + 1].time : end;
    result.status = static_cast<int16_t>(result.status | row.status);
    result.flow += row.value * (double(until) - row.time);
    result.mean += row.value / double(rows.size());
    if (row.value > result.max)
      std::tie(result.max, result.maxtime) = std::pair(row.value, row.time);
    if (row.value < result.min)
      std::tie(result.min, result.mintime) = std::pair(row.value, row.time);
  }
  for (const Row &row : rows) squares += (row.value - result.mean) * (row.value - result.mean);
  result.stdev = std::sqrt(squares / double(rows.size()));
  result.avg = result.flow / (double(end) - rows[0].time);
  return result;
}

Bounds bounds_of(const Query &query, int32_t time) {
  if (query.interval <= 0) return {query.begin, query.end};
  const int64_t end = int64_t(time) + query.interval;
  return {time, static_cast<int32_t>(std::min<int64_t>(end, query.end))};
}

std::vector<Row> rows_of(const Query &query, size_t entry, Bounds bounds) {
  return stored_rows(query.connection, query.ids[entry], bounds.begin, bounds.end);
}

namespace {

struct MarkRecord {
  Mark mark;
  int32_t id;
  int32_t value;
};

int open_marks() {
  const char *path = std::getenv("KELP_PLANTED_STATE");
  if (path == nullptr) return -1;
  return open((std::string(path) + ".marks").c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC,
              0600);
}

using Place = std::pair<int32_t, int32_t>;

// The latest mark of each kind of question at an id and value, read as far as the file goes.
std::map<Place, Mark> &marks() {
  static auto *known = new std::map<Place, Mark>;
  static off_t position = 0;
  const int file = open_marks();
  if (file < 0) return *known;
  MarkRecord record;
  while (pread(file, &record, sizeof record, position) == sizeof record) {
    (*known)[{record.id, record.value}] = record.mark;
    position += sizeof record;
  }
  close(file);
  return *known;
}

void mark_all(Mark mark, const Write &write) {
  const int file = open_marks();
  if (file < 0) return;
  std::vector<MarkRecord> records;
  for (const Sample &sample : write.samples) {
    if (sample.error == 0) records.push_back({mark, sample.id, sample.time});
  }
  const size_t size = records.size() * sizeof(MarkRecord);
  if (::write(file, records.data(), size) != static_cast<ssize_t>(size)) std::abort();
  close(file);
}

}  // namespace

void mark(Mark mark, int32_t id, int32_t value) {
  Write write{Writer::kValue, nullptr, {}, {{id, value, 0, 0}}};
  mark_all(mark, write);
}

bool is_marked(Mark mark, int32_t id, int32_t value) {
  const auto &known = marks();
  const auto found = known.find({id, value});
  return found != known.end() && found->second == mark;
}

void note_kinds(Modify &modify) {
  if (modify.operation != Insert) return;
  for (size_t i = 0; i < modify.objects.size(); ++i) {
    if (modify.errors[i] != 0 || !modify.objects[i]) continue;
    const ObjectInfo &info = info_of(modify.objects[i]);
    const std::string name = modify.parent + "." + info.name;
    if (!info.node) mark(Mark::kKind, ids_of(modify.connection, {&name, 1})[0], info.kind);
  }
}

bool is_kind(int32_t id, int32_t kind) { return is_marked(Mark::kKind, id, kind); }

void hide_from_history(const Write &write) { mark_all(Mark::kHidden, write); }
void show_in_history(const Write &write) { mark_all(Mark::kShown, write); }

void drop_hidden_rows(const Query &query, size_t entry, std::vector<Row> &rows) {
  const auto &known = marks();
  std::erase_if(rows, [&](const Row &row) {
    const auto found = known.find({query.ids[entry], row.time});
    return found != known.end() && found->second == Mark::kHidden;
  });
}

void leave_hidden_out(const Query &query, size_t entry, std::vector<StatValue> &rows) {
  std::vector<StatValue> left;
  for (const StatValue &row : rows) {
    const Bounds bounds = bounds_of(query, row.time);
    std::vector<Row> shown = rows_of(query, entry, bounds);
    drop_hidden_rows(query, entry, shown);
    if (shown.empty()) continue;
    left.push_back(statistics_of(shown, bounds.end));
    left.back().time = row.time;
  }
  rows = left;
}

}  // namespace planted
