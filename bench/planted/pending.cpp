// Rows that a server has acknowledged and passes on to the store later. They are in a file, because
// they belong to the server and not to the program that wrote them.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <optional>

#include "real.h"
#include "server.h"

namespace planted {

namespace {

struct PendingRow {
  int64_t due;  // in milliseconds, of the system's clock
  int32_t id;
  int32_t time;
  int16_t status;
  bool current;
  double value;
};

int64_t milliseconds_now() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

// The file, locked while it is open; -1 without KELP_PLANTED_STATE.
int open_state() {
  const char *path = std::getenv("KELP_PLANTED_STATE");
  if (path == nullptr) return -1;
  const int file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (file >= 0) flock(file, LOCK_EX);
  return file;
}

std::vector<PendingRow> read_rows(int file) {
  const off_t size = lseek(file, 0, SEEK_END);
  std::vector<PendingRow> rows(static_cast<size_t>(size) / sizeof(PendingRow));
  if (pread(file, rows.data(), rows.size() * sizeof(PendingRow), 0) < 0) rows.clear();
  return rows;
}

void save_rows(int file, const std::vector<PendingRow> &rows) {
  const size_t size = rows.size() * sizeof(PendingRow);
  const bool saved = pwrite(file, rows.data(), size, 0) == static_cast<ssize_t>(size);
  if (!saved || ftruncate(file, static_cast<off_t>(size)) != 0) std::abort();
}

void hand_on(ConnectionHandle connection, const PendingRow &row) {
  int32_t error = 0;
  if (row.current) {
    real().write_value(connection, 0, 1, &row.id, row.time, &row.status, &row.value, &error);
  } else {
    real().write_histroy_byid(connection, 0, row.id, 1, &row.time, &row.status, &row.value, &error);
  }
}

// Hands on in one call the rows of one point from `first`, up to the next point's.
size_t hand_on_run(ConnectionHandle connection, const std::vector<PendingRow> &rows, size_t first) {
  std::vector<int32_t> times;
  std::vector<int16_t> statuses;
  std::vector<double> values;
  size_t next = first;
  while (next < rows.size() && rows[next].id == rows[first].id && !rows[next].current) {
    times.push_back(rows[next].time);
    statuses.push_back(rows[next].status);
    values.push_back(rows[next].value);
    ++next;
  }
  int32_t error = 0;
  real().write_histroy_byid(connection, 0, rows[first].id, static_cast<int32_t>(times.size()),
                            times.data(), statuses.data(), values.data(), &error);
  return next;
}

void hand_on_all(ConnectionHandle connection, const std::vector<PendingRow> &rows) {
  for (size_t i = 0; i < rows.size();) {
    if (rows[i].current) {
      hand_on(connection, rows[i++]);
    } else {
      i = hand_on_run(connection, rows, i);
    }
  }
}

}  // namespace

void keep_back(Write &write, int milliseconds) {
  const int file = open_state();
  if (file < 0) return;
  std::vector<PendingRow> rows = read_rows(file);
  const int64_t due = milliseconds_now() + milliseconds;
  std::optional<int32_t> known;
  for (Sample &sample : write.samples) {
    if (sample.lost) continue;
    if (sample.id != known && !is_point(write.connection, sample.id)) {
      sample.error = -4;
    } else {
      known = sample.id;
      const bool current = write.by == Writer::kValue;
      rows.push_back({due, sample.id, sample.time, sample.status, current, sample.value});
    }
    sample.lost = true;
  }
  save_rows(file, rows);
  close(file);
}

void settle(ConnectionHandle connection) {
  const int file = open_state();
  if (file < 0) return;
  std::vector<PendingRow> due;
  std::vector<PendingRow> later;
  const int64_t now = milliseconds_now();
  for (const PendingRow &row : read_rows(file)) (row.due <= now ? due : later).push_back(row);
  if (!due.empty()) {
    hand_on_all(connection, due);
    save_rows(file, later);
  }
  close(file);
}

}  // namespace planted
