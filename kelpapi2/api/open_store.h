// Which engine serves a connection: the one place that knows all of them.
#pragma once

#include <memory>

#include "store/store.h"

namespace kelp {

// Opens the engine that the host text chooses; throws Failure.
std::unique_ptr<Store> open_store(const StoreAddress &address);

}  // namespace kelp
