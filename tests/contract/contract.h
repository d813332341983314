// The fixture of the suite: an empty store of the engine that is the parameter, and a session.
#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "support/client.h"
#include "support/process.h"

namespace kelptest {

class Contract : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override;
  // An empty store that nobody else uses; false if the engine is not installed here.
  bool make_store();

  // What a point has now, or had at a time.
  std::optional<Row> value_of(int32_t id) const { return connection_.current({id})[0]; }
  std::optional<Row> value_of(int32_t id, int32_t time) const {
    return connection_.snapshot({id}, time)[0];
  }

  TempFolder folder_;
  Login login_;
  Connection connection_;
};

// A way to write rows to a point; the first failure.
struct Way {
  const char *name;
  std::function<int32_t(const Connection &, int32_t id, const Rows &)> write;
};
extern const std::vector<Way> kWays;

}  // namespace kelptest
