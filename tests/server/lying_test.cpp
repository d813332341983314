// A server that does not keep to the protocol, as a broken or hostile one may: every call ends
// within the bound, and the program lives on.
#include "fixture.h"
#include "support/relay.h"

// libpq itself loses a result where an answer ends before its time.
extern "C" const char *__lsan_default_suppressions() { return "leak:PQmakeEmptyPGresult"; }

namespace kelptest {

namespace {

constexpr double kSoon = 1.5;

// A message of the protocol.
std::string message(char type, const std::string &body) {
  const auto length = static_cast<char>(body.size() + 4);
  return std::string{type, '\0', '\0', '\0', length} + body;
}

// Puts this in place of every message of a type.
Relay::Change instead_of(char type, const std::string &other) {
  return [=](const std::string &original) { return original[0] == type ? other : original; };
}

Relay::Change cut_fields() {
  return [](const std::string &original) {
    if (original[0] != 'D') return original;
    std::string body = original.substr(5, 2);
    for (int i = 0; i < body[1]; ++i) body += std::string("\0\0\0\1x", 5);
    return message('D', body);
  };
}

}  // namespace

class Lying : public ServerTest {};

TEST_F(Lying, NoAnswerDoesHarm) {
  const std::string none, no_columns("\0\0", 2), ready = message('Z', "I");
  const std::string copy = message('G', std::string("\0\0\0", 3));
  const std::pair<const char *, Relay::Change> lies[] = {
      {"no rows", instead_of('D', none)},
      {"no columns",
       [&](const std::string &original) {
         const bool row = original[0] == 'D' || original[0] == 'T';
         return row ? message(original[0], no_columns) : original;
       }},
      {"fields of one byte", cut_fields()},
      {"null fields", instead_of('D', message('D', std::string("\0\1\xff\xff\xff\xff", 6)))},
      {"rows twice",
       [](const std::string &original) {
         return original[0] == 'D' ? original + original : original;
       }},
      {"an extra ready message",
       [&](const std::string &original) {
         return original[0] == '2' ? ready + original : original;
       }},
      {"no command completes", instead_of('C', none)},
      {"a copy response", instead_of('C', copy)},
      {"endless notices", [](const std::string &) { return std::nullopt; }},
      {"garbage", instead_of('2', "?????????????")},
  };
  const Ids ids = Connection(login_).make_points(3);
  Relay relay(login_.port);
  Login login = login_;
  login.port = relay.port();
  login.bound = 1;
  Connection connection;
  const std::pair<const char *, std::function<void()>> calls[] = {
      {"connect", [&] { Connection{login}; }},
      {"write", [&] { write(connection, ids, 5); }},
      {"history", [&] { connection.query(ids, HistoryTimed); }},
      {"insert", [&] { connection.insert("W3.N", "LATE", R8); }},
      {"clock",
       [&] {
         int32_t time = 0;
         kelp2_get_system_time(connection.handle(), &time);
       }},
  };
  setenv("PGSSLMODE", "disable", 1);
  setenv("PGGSSENCMODE", "disable", 1);
  write(Connection(login_), ids, 4);
  for (const auto &[lie, change] : lies) {
    for (const auto &[name, call] : calls) {
      SCOPED_TRACE(std::string(lie) + ", " + name);
      if (connection.status() != 0) connection = Connection(login);
      ASSERT_TRUE(connection.open());
      relay.tamper(change);
      EXPECT_LT(seconds(call), kSoon);
      relay.be_honest();
    }
  }
  connection = Connection(login_);
  EXPECT_EQ(write(connection, ids, 6), 0);
  EXPECT_EQ(connection.history(ids[0]).front(), Row{4});
}

}  // namespace kelptest
