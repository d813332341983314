// The handles that the wrapper makes or keeps notes about, for its own operations.
#pragma once

#include <kelpapi2.h>

#include <string>
#include <vector>

#include "server.h"

struct kelp2_group {
  std::vector<std::string> names;
};

namespace planted {

// The name or names as the store has them, after the hook full_name.
std::string stored_name(const std::string &full_name);
std::vector<std::string> stored_names(GroupHandle group);

void note_object(ObjectHandle object, ObjectInfo info);
void forget_object(ObjectHandle object);

std::string name_after_last_stop(const std::string &full_name);
std::string name_before_last_stop(const std::string &full_name);

}  // namespace planted
