#include "load/board.h"

#include <cstring>

namespace kelpcheck {

void LoadBoard::begin_stage(const StageOrder &order) {
  std::memset(static_cast<void *>(&stage), 0, sizeof stage);
  stage.order = order;
  stage.first_write = writes;
}

}  // namespace kelpcheck
