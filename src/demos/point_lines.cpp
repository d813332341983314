// The arrays can be longer than the list of test points.
#include "demos/point_lines.h"

#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"

void show_refused_points(bool display, const std::vector<int32_t> &errors, const char *refused,
                         ErrorEntry error) {
  for (int32_t i = 0; i < point_count(); ++i) {
    if (errors[i] == 0 || (errors[i] > 0 && error == ErrorEntry::negative)) continue;
    show_line(display, refused, argument_.point_ids[i], errors[i]);
  }
}

void show_point_values(bool display, const std::vector<double> &values,
                       const std::vector<int32_t> &errors, const char *refused) {
  for (int32_t i = 0; i < point_count(); ++i) {
    const int32_t id = argument_.point_ids[i];
    if (errors[i] != 0) {
      show_line(display, refused, id, errors[i]);
    } else {
      show_line(display, "id:%d, value = %f", id, values[i]);
    }
  }
}
