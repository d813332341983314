// Current values of all test points: written by id, read back by id and by name. A refused point is
// one line and does not stop the others.
#include <ctime>
#include <vector>

#include "demos/demos.h"
#include "demos/point_lines.h"
#include "demos/sample_block.h"
#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"

namespace {

// What a read fills; the times and statuses are received and not shown.
struct CurrentValues {
  std::vector<int32_t> times;
  std::vector<int16_t> statuses;
  std::vector<double> values;
  std::vector<int32_t> errors;

  explicit CurrentValues(size_t size) : times(size), statuses(size), values(size), errors(size) {}
};

}  // namespace

void write_realvalue_byid_demo(bool display) {
  const int32_t n = point_count();
  const std::vector<int32_t> ids = test_point_ids();
  const std::vector<int16_t> statuses(n);
  std::vector<double> values(n);
  std::vector<int32_t> errors(n);
  for (int32_t i = 0; i < n; ++i) values[i] = step_value(i);

  const auto now = static_cast<int32_t>(std::time(nullptr));
  const int32_t result = kelp2_write_value(argument_.handle, 0, n, ids.data(), now, statuses.data(),
                                           values.data(), errors.data());
  if (result != 0) fail(display, "kelp2_write_value error! ret = %d", result);
  show_refused_points(display, errors, "id:%d, write realvalue error! error= %d",
                      ErrorEntry::negative);
  display_result(display, "write_realvalue_byid_demo success!");
}

void read_realvalue_byid_demo(bool display) {
  const int32_t n = point_count();
  const std::vector<int32_t> ids = test_point_ids();
  CurrentValues read(n);
  const int32_t result =
      kelp2_get_value_byid(argument_.handle, n, ids.data(), read.times.data(), read.statuses.data(),
                           read.values.data(), read.errors.data());
  if (result != 0) fail(display, "kelp2_get_value_byid error! ret= %d", result);
  show_point_values(display, read.values, read.errors, "id:%d, read realvalue error!, error= %d");
  display_result(true, "read_realvalue_byid_demo success!");
}

void read_realvalue_byname_demo(bool display) {
  GroupHandle group = new_point_group();
  CurrentValues read(point_array_size());
  const int32_t result =
      kelp2_get_value_byname(argument_.handle, group, read.times.data(), read.statuses.data(),
                             read.values.data(), read.errors.data());
  if (result != 0) fail(display, "kelp2_get_value_byname error! ret= %d", result);
  for (int32_t i = 0; i < point_count(); ++i) {
    const char *name = argument_.point_names[i].c_str();
    if (read.errors[i] != 0) {
      show_line(display, "name:%s, read realvalue error!, error=%d", name, read.errors[i]);
    } else {
      show_line(display, "name:%s, value = %f", name, read.values[i]);
    }
  }
  display_result(true, "read_realvalue_byname_demo success!");
  kelp2_free_group(group);
}
