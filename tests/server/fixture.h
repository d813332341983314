// What the fault tests share: a server and a fresh login for each test, the program, and a writer
// that knows which of its values were acknowledged.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/program.h"
#include "support/required.h"
#include "support/server.h"

namespace kelptest {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Seconds that the work took.
template <typename Work>
double seconds(Work &&work) {
  const auto begin = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

// Writes to all points at that time.
inline int32_t write(const Connection &connection, const Ids &ids, int32_t time) {
  return first_failure(connection.write_value(ids, Rows(ids.size(), {time})));
}

inline size_t count_of(const std::string &part, const std::string &text) {
  size_t count = 0;
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) ++count;
  return count;
}

inline std::string last_line(std::string text) {
  while (text.ends_with('\n')) text.pop_back();
  return text.substr(text.rfind('\n') + 1);
}

// Writes one stamp after the other to points of its own, about 300 a second, and connects again
// after every failure.
class Writer {
 public:
  explicit Writer(const Login &login) : login_(login), thread_([this] { work(); }) {}
  ~Writer() { end(); }

  // Waits until writes are acknowledged again.
  bool writes_again() const {
    return wait_for(10s, [&] { return since_failure_ > 10; });
  }
  // Ends the writing. Those of the acknowledged stamps that the server does not have.
  Ids lost(const Server &server) {
    end();
    EXPECT_GT(acknowledged_.size(), 50u);
    std::istringstream text(
        server.sql("SELECT time FROM kelp.sample GROUP BY time HAVING count(*) = 3 ORDER BY time",
                   login_.name));
    const Ids kept(std::istream_iterator<int32_t>(text), {});
    Ids result;
    std::set_difference(acknowledged_.begin(), acknowledged_.end(), kept.begin(), kept.end(),
                        std::back_inserter(result));
    return result;
  }

 private:
  void work() {
    Connection connection(login_);
    const Ids ids = connection.make_points(3);
    for (int32_t stamp = 1; !ends_; ++stamp) {
      if (connection.open() && write(connection, ids, stamp) == 0) {
        acknowledged_.push_back(stamp);
        ++since_failure_;
        std::this_thread::sleep_for(3ms);
      } else {
        since_failure_ = 0;
        std::this_thread::sleep_for(200ms);
        connection = Connection(login_);
      }
    }
  }
  void end() {
    ends_ = true;
    if (thread_.joinable()) thread_.join();
  }

  Login login_;
  Ids acknowledged_;  // the thread's until it has ended
  std::atomic<int> since_failure_ = 0;
  std::atomic<bool> ends_ = false;
  std::thread thread_;
};

class ServerTest : public testing::Test {
 protected:
  void SetUp() override {
    REQUIRE_OR_SKIP(Server::available(), "PostgreSQL is not installed");
    if (!server_) server_ = std::make_unique<Server>();
    login_ = {server_->host(), server_->port(), server_->new_database()};
    login_.bound = 2;
  }
  static void TearDownTestSuite() { server_.reset(); }

  static Server &server() { return *server_; }
  // As the test's login, what psql says.
  std::string sql(const std::string &statement) const {
    return server_->sql(statement, login_.name);
  }
  // The same server with another login.
  Login with(const std::string &name) const {
    Login login = login_;
    login.name = name;
    return login;
  }

  inline static std::unique_ptr<Server> server_;
  Login login_;
};

}  // namespace kelptest
