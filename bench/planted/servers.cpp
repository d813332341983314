#include "servers.h"

namespace planted {

std::vector<std::span<const Server>> all_servers() {
  return {honest_values(), honest_history(), honest_tree(),    honest_session(),
          faulty_writes(), faulty_reads(),   faulty_history(), faulty_statistics(),
          faulty_tree(),   faulty_objects(), faulty_session()};
}

}  // namespace planted
