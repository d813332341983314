// The last working demonstration: a fresh value to every test point once a second, for ever. The
// stamps count the passes rather than follow the clock, so they fall behind it a little; only a
// reconnection puts them back in step.
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "demos/demos.h"
#include "demos/point_lines.h"
#include "demos/sample_block.h"
#include "demos/test_tree.h"
#include "driver/argument.h"
#include "driver/connection.h"
#include "driver/output.h"

namespace {

constexpr int32_t unwatched_writes = 8;  // a bit of argument_.option: results are not examined

struct Pass {
  std::vector<int32_t> ids;
  std::vector<int16_t> statuses;
  std::vector<double> values;
  std::vector<int32_t> errors;
};

int32_t now() { return static_cast<int32_t>(std::time(nullptr)); }

// Between 0 and 1 whatever the range of rand().
double noise() { return std::rand() % 32768 / 32767.0; }

// A sine of one period in about 63 seconds, one radian further from point to point.
void fill(Pass &pass, int32_t stamp) {
  const double base = stamp * 0.1;
  for (size_t i = 0; i < pass.ids.size(); ++i) {
    const double sine = std::sin(static_cast<double>(i) + base) * 100.0;
    pass.errors[i] = 0;
    pass.statuses[i] = 0;
    pass.values[i] = noise() + sine;
  }
}

}  // namespace

void write_realvalue_every_second(bool display) {
  const int32_t n = point_count();
  int32_t stamp = now();
  Pass pass{test_point_ids(), std::vector<int16_t>(n), std::vector<double>(n),
            std::vector<int32_t>(n)};
  display_result(display, "I'm writing realvalue, once every second ! ");
  display_result(display, "......");

  for (;;) {
    fill(pass, stamp);
    const int32_t result =
        kelp2_write_value(argument_.handle, 0, n, pass.ids.data(), stamp, pass.statuses.data(),
                          pass.values.data(), pass.errors.data());
    if ((argument_.option & unwatched_writes) == 0) {
      if (result != 0) {
        display_result(display, "kelp2_write_value error!");
        connect_until_success(true);
        display_result(display, "connect success, I will to write realvalue go on!");
        display_result(display, "......");
        stamp = now();
      }
      show_refused_points(display, pass.errors, "id:%d, write realvalue error!",
                          ErrorEntry::negative);
    }
    stamp = clamp_time(int64_t{stamp} + 1);
    sleep(1);
  }
}
