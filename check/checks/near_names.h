// Names that differ from one that is there by a letter, a blank or a full stop.
#pragma once

#include "probe/bed.h"

namespace kelpcheck {

// A second name like one that is there is no other name of it.
void near_names(Bed &bed);

}  // namespace kelpcheck
