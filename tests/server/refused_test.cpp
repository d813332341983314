// Connections that are refused. Whatever the cause, the program says "connect error!", ends with
// status 0, and one line on standard error names the cause and keeps the password to itself.
#include "fixture.h"

namespace kelptest {

class Refused : public ServerTest {};

TEST_F(Refused, EveryCauseIsOneLine) {
  const std::string homeless = server().new_database();
  server().sql("DROP DATABASE " + homeless);
  const std::string guest = server().new_database();
  server().sql("ALTER DATABASE " + guest + " OWNER TO postgres");
  const std::string newer = server().new_database();
  ASSERT_TRUE(Connection(with(newer)).open());
  server().sql("UPDATE kelp.schema_version SET version = version + 1", newer);
  const std::string reader = server().new_database();
  ASSERT_TRUE(Connection(with(reader)).open());
  server().sql("REASSIGN OWNED BY " + reader + " TO postgres; GRANT USAGE ON SCHEMA kelp TO " +
                   reader + "; GRANT SELECT ON ALL TABLES IN SCHEMA kelp TO " + reader,
               reader);

  const struct {
    std::string cause;
    Login login;
  } cases[] = {
      {"Connection refused", {login_.hosts, free_port(), login_.name}},
      {"password authentication failed", {login_.hosts, login_.port, login_.name, "wrong-secret"}},
      {"database \"" + homeless + "\" does not exist", with(homeless)},
      {"permission denied", with(guest)},
      {"newer version", with(newer)},
      {"lacks UPDATE on kelp.object", with(reader)},
  };
  for (const auto &[cause, login] : cases) {
    SCOPED_TRACE(cause);
    Program program(login);
    EXPECT_EQ(program.wait(10s), 0);
    EXPECT_EQ(count_of("\n", program.output()), 3u) << program.output();
    EXPECT_EQ(last_line(program.output()), "connect error!");
    EXPECT_EQ(count_of("\n", program.errors()), 1u) << program.errors();
    EXPECT_EQ(count_of(cause, program.errors()), 1u) << program.errors();
    EXPECT_EQ(count_of(login.password, program.errors()), 0u) << program.errors();
  }
}

// A server that reports all it does shows what the library keeps from the terminal.
TEST_F(Refused, NoticesDoNotReachTheTerminal) {
  server().sql("ALTER ROLE " + login_.name + " SET client_min_messages TO debug1");
  sql("CREATE SCHEMA kelp AUTHORIZATION " + login_.name);
  const Program program(login_);
  EXPECT_TRUE(program.wait_for_output("I'm writing realvalue", 20s)) << program.output();
  EXPECT_EQ(program.errors(), "");
}

}  // namespace kelptest
