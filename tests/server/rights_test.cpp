// Logins that lack a right on somebody else's store, or that see only some of its rows.
#include <functional>

#include "fixture.h"

namespace kelptest {

class Rights : public ServerTest {
 protected:
  void SetUp() override {
    ServerTest::SetUp();
    if (IsSkipped()) return;
    ids_ = Connection(login_).make_points(3);
    user_ = {login_.hosts, login_.port, server().new_database()};
    server().sql("ALTER ROLE " + user_.name + " SET search_path TO public");
    sql("GRANT CONNECT ON DATABASE " + login_.name + " TO " + user_.name);
    setenv("PGDATABASE", login_.name.c_str(), 1);
  }
  void TearDown() override { unsetenv("PGDATABASE"); }

  void grant(const std::string &rights) const { sql("GRANT " + rights + " TO " + user_.name); }
  void revoke(const std::string &rights) const { sql("REVOKE " + rights + " FROM " + user_.name); }
  void grant_what_writing_takes() const {
    grant("USAGE ON SCHEMA kelp");
    grant("SELECT ON ALL TABLES IN SCHEMA kelp");
    grant("UPDATE ON kelp.object");
    grant("INSERT, UPDATE ON kelp.sample, kelp.current_value");
  }

  Login user_;
  Ids ids_;
};

// What is written to the log for a call is all that a server's operator gets to see of it.
TEST_F(Rights, ALoginThatMayLockNoRowGetsAnAnswer) {
  grant_what_writing_takes();
  sql("ALTER TABLE kelp.object ENABLE ROW LEVEL SECURITY;"
      "CREATE POLICY seen ON kelp.object FOR SELECT USING (true);"
      "CREATE POLICY locked ON kelp.object FOR UPDATE USING (id <> " +
      std::to_string(ids_[1]) + ")");
  const Connection connection(user_);
  EXPECT_EQ(connection.ids_of({"W3.N.P0", "W3.N.P1", "W3.N.P2"}), ids_);
  const size_t logged = server().log().size();
  testing::internal::CaptureStderr();
  EXPECT_LT(seconds([&] { EXPECT_EQ(write(connection, ids_, 1), -9); }), 1.0);
  const std::string errors = testing::internal::GetCapturedStderr();
  EXPECT_EQ(count_of("may lock fewer", errors), 1u) << errors;
  EXPECT_EQ(count_of("ERROR:", server().log().substr(logged)), 2u);
  EXPECT_EQ(write(connection, {ids_[0], ids_[2]}, 1), 0);
  EXPECT_EQ(sql("SELECT count(*) FROM kelp.sample"), "2");
}

// A writer that has not noticed goes on for days.
TEST_F(Rights, UnknownPointsLeaveNothingInTheServersLog) {
  const Connection connection(login_);
  const Ids ids{ids_[0], ids_[2] + 1, 0, -1, ids_[1]};
  const Codes expected{0, -4, -4, -4, 0};
  const size_t logged = server().log().size();
  EXPECT_EQ(connection.write_value(ids, Rows(5, {1})), expected);
  EXPECT_EQ(connection.write_cache(ids, Rows(5, {2})), expected);
  EXPECT_EQ(connection.erase("W3.N", "P1"), 0);
  EXPECT_EQ(connection.write_value(ids, Rows(5, {3})), (Codes{0, -4, -4, -4, -4}));
  EXPECT_EQ(count_of("ERROR:", server().log().substr(logged)), 0u);
  EXPECT_EQ(connection.history(ids_[0]), (Rows{{1}, {2}, {3}}));
}

TEST_F(Rights, ASessionThatCouldNotWriteIsNone) {
  const char *const needed[] = {
      "SELECT ON kelp.object",        "UPDATE ON kelp.object",
      "SELECT ON kelp.sample",        "INSERT ON kelp.sample",
      "UPDATE ON kelp.sample",        "SELECT ON kelp.current_value",
      "INSERT ON kelp.current_value", "UPDATE ON kelp.current_value",
      "USAGE ON SCHEMA kelp",
  };
  grant_what_writing_takes();
  for (const std::string right : needed) {
    SCOPED_TRACE(right);
    revoke(right);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(Connection(user_).open());
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(count_of("\n", errors), 1u) << errors;
    const std::string object = right.substr(right.find_last_of(" .") + 1);
    EXPECT_GE(count_of(object, errors), 1u) << errors;
    grant(right);
  }
  revoke("UPDATE ON kelp.object");
  grant("UPDATE (hw) ON kelp.object");  // enough for a lock
  const Connection connection(user_);
  EXPECT_EQ(write(connection, ids_, 1), 0);
  EXPECT_EQ(write(connection, ids_, 1), 0);
  EXPECT_EQ(connection.history(ids_[0]), Rows{{1}});
}

// The tree takes rights of its own, which a login that only writes values does not have.
TEST_F(Rights, ATreeThatMayNotBeChangedIsRefusedByName) {
  grant_what_writing_takes();
  const Connection connection(user_);
  const struct {
    std::string right, table;
    std::function<int32_t()> call;
  } cases[] = {
      {"INSERT ON kelp.object", "table object",
       [&] { return connection.insert("W3.N", "NEW", R8); }},
      {"DELETE ON kelp.object", "table object", [&] { return connection.erase("W3.N", "P2"); }},
      {"INSERT ON kelp.erased_point", "table erased_point",
       [&] { return connection.erase("W3.N", "P2"); }},
  };
  for (const auto &[right, table, call] : cases) {
    SCOPED_TRACE(right);
    testing::internal::CaptureStderr();
    EXPECT_EQ(call(), -9);
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(count_of(table, errors), 1u) << errors;
    grant(right);
  }
  EXPECT_EQ(connection.children("W3.N"), (Names{"P0", "P1", "P2"}));
  grant("DELETE ON kelp.sample, kelp.current_value, kelp.erased_point");
  EXPECT_EQ(write(connection, ids_, 1), 0);
  EXPECT_EQ(cases[0].call(), 0);
  EXPECT_EQ(cases[1].call(), 0);
  EXPECT_EQ(sql("SELECT count(*) FROM kelp.sample"), "2");
}

}  // namespace kelptest
