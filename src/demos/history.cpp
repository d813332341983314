// Past values: a block written to every test point, by id and an hour later by name, and each block
// read back raw.
#include "demos/demos.h"
#include "demos/history_query.h"
#include "demos/sample_block.h"
#include "driver/argument.h"
#include "driver/output.h"

namespace {

int32_t write_by_id(int32_t position, const SampleBlock &block, int32_t *error) {
  return kelp2_write_histroy_byid(argument_.handle, 0, argument_.point_ids[position], block.count,
                                  block.times.data(), block.statuses.data(), block.values.data(),
                                  error);
}

int32_t write_by_name(int32_t position, const SampleBlock &block, int32_t *error) {
  return kelp2_write_histroy_byname(argument_.handle, 0, argument_.point_names[position].c_str(),
                                    block.count, block.times.data(), block.statuses.data(),
                                    block.values.data(), error);
}

void show_values(bool display, int32_t position, ResultHandle result, int32_t rows) {
  int32_t time = 0;
  int16_t status = 0;
  double value = 0;
  for (int32_t row = 0; row < rows; ++row) {
    kelp2_fetch_timed_value(result, &time, &status, &value);
    if (!visible(display)) continue;
    show_long_line(display, "id = %d, value = %f, stat = %d, time = %d",
                   argument_.point_ids[position], value, status, time);
  }
}

}  // namespace

void write_hisvalue_byid_demo(bool display) {
  write_block_to_every_point(display, history_byid_offset, write_by_id,
                             "kelp2_write_histroy_byid  error! ret= %d",
                             "id = %d, kelp2_write_histroy_byid error! error = %d");
  display_result(display, "kelp2_write_histroy_byid success!");
}

void get_hisvalue_byid_demo(bool display) {
  query_history(display, {.look_up = LookUp::by_id,
                          .mode = HistoryTimed,
                          .offset = history_byid_offset,
                          .fatal = "kelp2_get_history_byid  error! ret= %d",
                          .read = show_values,
                          .success = "get_hisvalue_byid_demo success"});
}

void write_hisvalue_byname_demo(bool display) {
  write_block_to_every_point(display, history_byname_offset, write_by_name,
                             "kelp2_write_histroy_byname  error! ret= %d",
                             "id = %d, write value  error! error=%d");
  display_result(display, "write_hisvalue_byname_demo success!");
}

void get_hisvalue_byname_demo(bool display) {
  query_history(display, {.look_up = LookUp::by_name,
                          .mode = HistoryTimed,
                          .offset = history_byname_offset,
                          .fatal = "kelp2_get_histroy_byname  error! ret= %d",
                          .read = show_values,
                          .success = "get_hisvalue_byname_demo success!"});
}
