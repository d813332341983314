// Snapshots: every test point gets one value at one time per step of the range; the first steps are
// read back by id and by name.
#include <algorithm>
#include <vector>

#include "demos/demos.h"
#include "demos/point_lines.h"
#include "demos/sample_block.h"
#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"
#include "driver/progress.h"

namespace {

struct Snapshot {
  std::vector<int16_t> statuses;
  std::vector<double> values;
  std::vector<int32_t> errors;

  explicit Snapshot(size_t size) : statuses(size), values(size), errors(size) {}
};

// Reads the snapshot of one time, of all test points or of those that the group names.
using ReadSnapshot = int32_t (*)(GroupHandle group, int32_t time, Snapshot &snapshot);

void read_first_snapshots(bool display, GroupHandle group, ReadSnapshot read, const char *fatal) {
  constexpr int32_t most_cycles = 10;
  Snapshot snapshot(point_array_size());
  const int32_t cycles = std::min(step_count(), most_cycles);
  for (int32_t k = 0; k < cycles; ++k) {
    show_progress(k, cycles, "steps");
    const int32_t result = read(group, step_time(snapshot_offset, k), snapshot);
    if (result != 0) fail(display, fatal, result);
    show_point_values(display, snapshot.values, snapshot.errors, "id:%d, get snap error! error=%d");
  }
}

int32_t read_by_id(GroupHandle /*group*/, int32_t time, Snapshot &snapshot) {
  return kelp2_get_snap_byid(argument_.handle, point_count(), argument_.point_ids.data(), time,
                             snapshot.statuses.data(), snapshot.values.data(),
                             snapshot.errors.data());
}

int32_t read_by_name(GroupHandle group, int32_t time, Snapshot &snapshot) {
  return kelp2_get_snap_byname(argument_.handle, group, time, snapshot.statuses.data(),
                               snapshot.values.data(), snapshot.errors.data());
}

}  // namespace

void write_snap_byid_demo(bool display) {
  const int32_t n = point_count();
  Snapshot snapshot(n);
  for (int32_t k = 0; k < step_count(); ++k) {
    show_progress(k, step_count(), "steps");
    snapshot.values.assign(n, step_value(k));
    const int32_t result = kelp2_write_snap(argument_.handle, 0, n, argument_.point_ids.data(),
                                            step_time(snapshot_offset, k), snapshot.statuses.data(),
                                            snapshot.values.data(), snapshot.errors.data());
    if (result != 0) fail(display, "kelp2_write_snap  error! ret= %d", result);
    show_refused_points(display, snapshot.errors, "id = %d, write snap  error! error=%d");
  }
  display_result(true, "write_snap_byid_demo success!");
}

void get_snap_byid_demo(bool display) {
  read_first_snapshots(display, nullptr, read_by_id, "kelp2_get_snap_byid  error! ret= %d");
  display_result(true, "get_snap_byid_demo success!");
}

void get_snap_byname_demo(bool display) {
  GroupHandle group = new_point_group();
  read_first_snapshots(display, group, read_by_name, "kelp2_get_snap_byname  error! ret= %d");
  display_result(true, "get_snap_byname_demo success!");
  kelp2_free_group(group);
}
