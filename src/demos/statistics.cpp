// Statistics over the blocks that the history demonstrations wrote, shown field by field.
#include "demos/demos.h"
#include "demos/history_query.h"
#include "demos/sample_block.h"
#include "driver/argument.h"
#include "driver/output.h"

namespace {

using ShowLabel = void (*)(bool display, int32_t position);

void show_id_line(bool display, int32_t position) {
  show_line(display, "id:%d ", argument_.point_ids[position]);
}

void show_name_line(bool display, int32_t position) {
  show_line(display, "name:%s ", argument_.point_names[position].c_str());
}

void show_record(bool display, const StatValue &record) {
  show_line(display, "int time: %d ", record.time);
  show_line(display, "short status: %d  ", record.status);
  show_line(display, "double flow : %lf ", record.flow);
  show_line(display, "double max   : %lf ", record.max);
  show_line(display, "double min   : %lf ", record.min);
  show_line(display, "int maxtime: %d ", record.maxtime);
  show_line(display, "int mintime: %d ", record.mintime);
  show_line(display, "double avg  : %lf ", record.avg);
  show_line(display, "double mean : %lf ", record.mean);
  show_line(display, "double stdev: %lf ", record.stdev);
  display_result(display, "--------------------------------");
}

template <ShowLabel show_label>
void show_statistics(bool display, int32_t position, ResultHandle result, int32_t rows) {
  StatValue record{};
  for (int32_t row = 0; row < rows; ++row) {
    const int32_t code = kelp2_fetch_stat_value(result, &record);
    if (code != 0 && code != 1) fail(display, "kelp2_fetch_stat_value  error! ret= %d", code);
    if (!visible(display)) continue;
    show_label(display, position);
    show_record(display, record);
  }
}

}  // namespace

void get_statvalue_byid_demo(bool display) {
  query_history(display, {.look_up = LookUp::by_id,
                          .mode = HistoryStatistics,
                          .offset = history_byid_offset,
                          .fatal = "kelp2_get_histroy_byid  error! ret= %d",
                          .read = show_statistics<show_id_line>,
                          .success = "get_statvalue_byid_demo success!"});
}

void get_statvalue_byname_demo(bool display) {
  query_history(display, {.look_up = LookUp::by_name,
                          .mode = HistoryStatistics,
                          .offset = history_byname_offset,
                          .fatal = "kelp2_get_histroy_byname  error! ret= %d",
                          .read = show_statistics<show_name_line>,
                          .success = "get_statvalue_byname_demo success!"});
}
