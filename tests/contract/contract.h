// The fixture of the suite: an empty store of the engine that is the parameter, and a session.
#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "support/client.h"
#include "support/process.h"
#include "support/server.h"

namespace kelptest {

constexpr int32_t kLost = -2;  // the result code of a session that is gone

class Contract : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override;
  void TearDown() override;
  // An empty store that nobody else uses; false if the engine is not installed here.
  bool make_store();

  // What a point has now, or had at a time.
  std::optional<Row> value_of(int32_t id) const { return connection_.current({id})[0]; }
  std::optional<Row> value_of(int32_t id, int32_t time) const {
    return connection_.snapshot({id}, time)[0];
  }

  static Server &server();
  void distribute();

  TempFolder folder_;
  Login login_;
  Connection connection_;
  size_t log_begin_ = 0;  // of what the server logs in this test
};

// A way to write rows to a point; the first failure.
struct Way {
  const char *name;
  std::function<int32_t(const Connection &, int32_t id, const Rows &)> write;
};
extern const std::vector<Way> kWays;

}  // namespace kelptest
