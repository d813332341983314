// What this server does where the header leaves it open, as far as the model has to know it. If an
// answer is not known, everything that the header allows is right.
#pragma once

#include <cstdint>
#include <string_view>

#include "habits/habits.h"

namespace kelpcheck::explore {

enum class Known { no, yes, unknown };

// Of two values written at one time.
enum class Second { replaces, first_stays, both, unknown };

struct Ways {
  // All that stands behind "Bundled:" is promised.
  bool bundled = false;
  // What was acknowledged was there at once so far. Elsewhere values that were written in different
  // ways may arrive in another order.
  bool at_once = false;

  Known end_inside = Known::unknown;         // the end of a range
  Second second = Second::unknown;           // in the history, by kelp2_write_histroy_*
  Second second_in_call = Second::unknown;   // by one such call
  Second second_snapshot = Second::unknown;  // by kelp2_write_snap, in two calls
  Second second_cached = Second::unknown;    // by kelp2_write_cache*, in two calls
  Known older_replaces = Known::unknown;     // a current value older than the one before it
  Known equal_replaces = Known::unknown;     // one of the same time
  Known value_in_history = Known::unknown;   // written by kelp2_write_value
  Known snap_in_history = Known::unknown;    // by kelp2_write_snap
  Known cache_in_history = Known::unknown;   // by kelp2_write_cache and kelp2_write_cache_one
  Known snap_sets_current = Known::unknown;  // kelp2_write_snap
  Known snap_holds = Known::unknown;         // a snapshot is the newest value at or before it
  Known full_nodes_stay = Known::unknown;    // a node with points is not deleted
  Known utc = Known::unknown;                // the calendar
  Known statistics = Known::unknown;         // are those that the header describes as bundled
  Known statistics_status = Known::unknown;  // is all bits of the values' statuses
  Known statistics_cut = Known::unknown;     // the last interval ends with the range
  bool kept[2][4] = {};                      // FQ, AR, IV, HW; of nodes, of points

  static constexpr const char *kFields[4] = {"FQ", "AR", "IV", "HW"};
  bool keeps(std::string_view field, bool node) const {
    for (int i = 0; i < 4; ++i) {
      if (field == kFields[i]) return kept[node ? 0 : 1][i];
    }
    return true;  // ED
  }

  static Ways of_bundled();
  // As far as it has been learnt.
  static Ways of(const Habits &habits);
};

}  // namespace kelpcheck::explore
