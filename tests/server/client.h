// What the fault tests share: a server and a fresh login for each test, short forms of the
// library's calls, and a writer that knows which of its values were acknowledged.
#pragma once

#include <gtest/gtest.h>
#include <kelpapi2.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/process.h"
#include "support/required.h"
#include "support/server.h"

namespace kelptest {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Ids = std::vector<int32_t>;

// Where and as whom to connect.
struct Login {
  std::string hosts;
  int port;
  std::string name;
  std::string password = "riverbank";
};

struct Close {
  void operator()(ConnectionHandle handle) const { kelp2_close(handle); }
};
using Connection = std::unique_ptr<kelp2_connection, Close>;

inline Connection connect(const Login &login, int bound = 2) {
  return Connection(kelp2_init(0, login.hosts.c_str(), login.port, bound, login.name.c_str(),
                               login.password.c_str(), "NULL", 0));
}

// Seconds that the work took.
template <typename Work>
double seconds(Work &&work) {
  const auto begin = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

// Inserts an object; its entry.
inline int32_t insert(ConnectionHandle connection, const std::string &parent,
                      const std::string &name, int32_t kind) {
  ObjectHandle object = kelp2_new_object(connection, name.c_str(), kind);
  int32_t error = 0;
  kelp2_modify_object(connection, Insert, parent.c_str(), 1, &object, &error);
  kelp2_free_object(object);
  return error;
}

// Points under a new node W3.N.
inline Ids make_points(const Connection &connection, int count) {
  GroupHandle group = kelp2_new_group();
  insert(connection.get(), "W3", "N", KindNode);
  for (int i = 0; i < count; ++i) {
    const std::string name = "P" + std::to_string(i);
    insert(connection.get(), "W3.N", name, R8);
    kelp2_add_group_point(group, ("W3.N." + name).c_str());
  }
  Ids ids(count);
  EXPECT_EQ(kelp2_get_id_byname(connection.get(), group, ids.data()), 0);
  EXPECT_EQ(std::count(ids.begin(), ids.end(), 0), 0);
  kelp2_free_group(group);
  return ids;
}

// Writes to all points; the result of the call, or the worst of its entries.
inline int32_t write(const Connection &connection, const Ids &ids, int32_t time) {
  const std::vector<int16_t> statuses(ids.size());
  const std::vector<double> values(ids.size());
  Ids errors(ids.size());
  const int32_t result =
      kelp2_write_value(connection.get(), 0, static_cast<int32_t>(ids.size()), ids.data(), time,
                        statuses.data(), values.data(), errors.data());
  return result != 0 ? result : *std::min_element(errors.begin(), errors.end());
}

// kelptest with few points and a short time range; later arguments override.
struct Program : Process {
  explicit Program(const Login &login, const std::vector<std::string> &more = {})
      : Process(command(login, more)) {}

  static std::vector<std::string> command(const Login &login,
                                          const std::vector<std::string> &more) {
    std::vector<std::string> words{KELPTEST_PROGRAM,
                                   "-H" + login.hosts,
                                   "-U" + login.name,
                                   "-P" + login.password,
                                   "-B20130307120000",
                                   "-E20130307120100",
                                   "-X3",
                                   "-C" + std::to_string(login.port)};
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }
};

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
    Connection connection = connect(login_);
    const Ids ids = make_points(connection, 3);
    for (int32_t stamp = 1; !ends_; ++stamp) {
      if (connection && write(connection, ids, stamp) == 0) {
        acknowledged_.push_back(stamp);
        ++since_failure_;
        std::this_thread::sleep_for(3ms);
      } else {
        since_failure_ = 0;
        std::this_thread::sleep_for(200ms);
        connection = connect(login_);
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
  }
  static void TearDownTestSuite() { server_.reset(); }

  static Server &server() { return *server_; }
  // As the test's login, what psql says.
  std::string sql(const std::string &statement) const {
    return server_->sql(statement, login_.name);
  }
  // The same server with another login.
  Login with(const std::string &name) const { return {login_.hosts, login_.port, name}; }

  inline static std::unique_ptr<Server> server_;
  Login login_;
};

}  // namespace kelptest
