// All errors are shown before the first row, and the result of a refused point is counted and
// released like any other.
#include "demos/history_query.h"

#include <vector>

#include "demos/point_lines.h"
#include "demos/sample_block.h"
#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"
#include "driver/progress.h"

namespace {

int32_t call(const HistoryQuery &query, GroupHandle group, const std::vector<int32_t> &modes,
             std::vector<ResultHandle> &results, std::vector<int32_t> &errors) {
  const int32_t begin = clamp_time(int64_t{argument_.begin_time} + query.offset);
  const int32_t end = clamp_time(int64_t{argument_.end_time} + query.offset);
  if (query.look_up == LookUp::by_name) {
    return kelp2_get_history_byname(argument_.handle, group, modes.data(), begin, end,
                                    argument_.interval, results.data(), errors.data());
  }
  const std::vector<int32_t> ids = test_point_ids();
  return kelp2_get_history_byid(argument_.handle, point_count(), ids.data(), modes.data(), begin,
                                end, argument_.interval, results.data(), errors.data());
}

}  // namespace

void query_history(bool display, const HistoryQuery &query) {
  GroupHandle group = query.look_up == LookUp::by_name ? new_point_group() : nullptr;
  const std::vector<int32_t> modes(point_array_size(), query.mode);
  std::vector<ResultHandle> results(point_array_size());
  std::vector<int32_t> errors(point_array_size());

  const int32_t result = call(query, group, modes, results, errors);
  if (result != 0) fail(display, query.fatal, result);
  show_refused_points(display, errors, "id = %d, get value  error! error=%d");
  for (int32_t i = 0; i < point_count(); ++i) {
    show_progress(i, point_count(), "points");
    query.read(display, i, results[i], kelp2_num_rows(results[i]));
    kelp2_free_result(results[i]);
  }
  display_result(true, query.success);
  if (group != nullptr) kelp2_free_group(group);
}
