// Cache writes: a block to every test point through the batch operation, which carries an id per
// row, and a later block through the operation for a single point.
#include <vector>

#include "demos/demos.h"
#include "demos/sample_block.h"
#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/output.h"
#include "driver/progress.h"

namespace {

int32_t write_one(int32_t position, const SampleBlock &block, int32_t *error) {
  return kelp2_write_cache_one(argument_.handle, 0, argument_.point_ids[position], block.count,
                               block.times.data(), block.statuses.data(), block.values.data(),
                               error);
}

}  // namespace

void write_cache_byid_demo(bool display) {
  const SampleBlock block = make_sample_block(cache_offset);
  std::vector<int32_t> ids(block.count);
  std::vector<int32_t> errors(block.count);
  for (int32_t p = 0; p < point_count(); ++p) {
    show_progress(p, point_count(), "points");
    const int32_t id = argument_.point_ids[p];
    ids.assign(ids.size(), id);
    const int32_t result =
        kelp2_write_cache(argument_.handle, 0, block.count, ids.data(), block.times.data(),
                          block.statuses.data(), block.values.data(), errors.data());
    if (result != 0) fail(display, "kelp2_write_cache  error! ret= %d", result);
    for (const int32_t error : errors) {
      if (error != 0) show_line(display, "id = %d, write cache error! error=%d", id, error);
    }
  }
  display_result(true, "write_cache_byid_demo success!");
}

void write_cache_one_byid_demo(bool display) {
  write_block_to_every_point(display, cache_one_offset, write_one,
                             "kelp2_write_cache_one  error! ret= %d",
                             "id = %d, write cache one  error! error=%d");
  display_result(true, "write_cache_one_byid_demo success!");
}
