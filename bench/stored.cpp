// Says what a run has stored, as the bundled library reads it back: of all points of the tree that
// kelptest builds with the same options, how many samples they have and a digest of these, on one
// line for points that agree. What depends on the clock is left out, so that two programs that
// stored the same print the same.
#include <bit>
#include <cinttypes>
#include <cstdio>
#include <map>
#include <vector>

#include "demos/test_tree.h"
#include "driver/argument.h"

namespace {

constexpr int32_t kEnd = 1400000000;  // after the demonstrations' samples, before today's

uint64_t digest(ResultHandle result, int32_t rows) {
  uint64_t sum = 0;
  for (int32_t row = 0; row < rows; ++row) {
    int32_t time = 0;
    int16_t status = 0;
    double value = 0;
    if (kelp2_fetch_timed_value(result, &time, &status, &value) != 0) return 0;
    for (const uint64_t part : {uint64_t(time), uint64_t(status), std::bit_cast<uint64_t>(value)}) {
      sum = (sum ^ part) * 0x9e3779b97f4a7c15 + (sum >> 29);
    }
  }
  return sum;
}

}  // namespace

// stored [kelptest's options]
int main(int argc, char **argv) {
  if (!analyze_args(argc, argv)) return 2;
  ConnectionHandle connection =
      kelp2_init(0, argument_.host.c_str(), argument_.port, 30, argument_.user.c_str(),
                 argument_.password.c_str(), nullptr, 0);
  const int32_t count = point_count();
  for (int32_t i = 1; i <= count; ++i) argument_.point_names.push_back(point_full_name(i));
  const std::vector<int32_t> modes(count, HistoryTimed);
  std::vector<ResultHandle> results(count);
  std::vector<int32_t> errors(count);
  if (kelp2_get_history_byname(connection, new_point_group(), modes.data(), 0, kEnd, 0,
                               results.data(), errors.data()) != 0) {
    return 1;
  }
  std::map<std::pair<int32_t, uint64_t>, int32_t> first_points;
  for (int32_t i = 0; i < count; ++i) {
    if (errors[i] != 0) return 1;
    const int32_t rows = kelp2_num_rows(results[i]);
    first_points.try_emplace({rows, digest(results[i], rows)}, i + 1);
    kelp2_free_result(results[i]);
  }
  for (const auto &[samples, point] : first_points) {
    std::printf("%d samples with digest %016" PRIx64 " in each point like %d\n", samples.first,
                samples.second, point);
  }
  return 0;
}
