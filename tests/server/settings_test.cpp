// Settings of a server, a role or a database, and names that its encoding cannot hold: what is
// stored comes back as it was, and what cannot be stored fails alone.
#include "fixture.h"

namespace kelptest {

class Settings : public ServerTest {};

TEST_F(Settings, NumbersComeBackToTheBit) {
  const double values[] = {1.0 / 3, 0.5, -0.0, 1e-310, 123456789.123456789};
  const char *const settings[] = {
      "extra_float_digits TO 0",
      "extra_float_digits TO -15",
      "search_path TO shadow, pg_catalog",
      "default_transaction_isolation TO 'serializable'",
      "lc_numeric TO 'C'",
      "array_nulls TO off",
      "plan_cache_mode TO force_generic_plan",
      "transform_null_equals TO on",
      "enable_seqscan TO off",
  };
  Connection{login_};
  // A function that another user would like to be called instead of the server's own.
  sql("CREATE SCHEMA shadow; GRANT USAGE ON SCHEMA shadow TO public;"
      "CREATE FUNCTION shadow.unnest(int4[]) RETURNS SETOF int4 LANGUAGE sql AS 'SELECT 1';"
      "CREATE FUNCTION shadow.unnest(text[]) RETURNS SETOF text LANGUAGE sql AS 'SELECT ''x'''");
  Connection(login_).make_points(1);
  for (const char *setting : settings) {
    SCOPED_TRACE(setting);
    server().sql("ALTER ROLE " + login_.name + " SET " + setting);
    const Connection connection(login_);
    int32_t time = 0;
    for (const double value : values) {
      const Object point = connection.object("W3.N.P0");
      ASSERT_NE(point, nullptr);
      kelp2_object_set_double(point.get(), KELP2_FIELD_IV, value);
      EXPECT_EQ(connection.modify(Update, "W3.N", {point.get()}), Codes{0});
      const Object read = connection.object("W3.N.P0");
      EXPECT_EQ((Row{0, 0, kelp2_object_get_double(read.get(), KELP2_FIELD_IV)}),
                (Row{0, 0, value}));
      const Ids ids = connection.ids_of({"W3.N.P0"});
      const Row row{++time, 1, value};
      EXPECT_EQ(connection.write_value(ids, {row}), Codes{0});
      EXPECT_EQ(connection.current(ids)[0], row);
      EXPECT_EQ(connection.snapshot(ids, time)[0], row);
    }
    server().sql("ALTER ROLE " + login_.name + " RESET ALL");
  }
}

TEST_F(Settings, ANameThatCannotBeStoredFailsAlone) {
  const std::string broken = "A\xff", han = "\u6d77";
  const struct {
    std::string options;
    bool takes_broken, takes_han;
  } databases[] = {
      {"", false, true},
      {"ENCODING 'LATIN1' LOCALE 'C' TEMPLATE template0", false, false},
      {"ENCODING 'SQL_ASCII' LOCALE 'C' TEMPLATE template0", true, true},
  };
  for (const auto &[options, takes_broken, takes_han] : databases) {
    SCOPED_TRACE(options);
    login_ = with(server().new_database(options));
    const Connection connection(login_);
    connection.make_points(1);
    std::vector<Object> made;
    std::vector<ObjectHandle> handles;
    for (const std::string &name : {std::string("B"), broken, han, std::string("C")}) {
      made.push_back(connection.new_object(name, R8));
      handles.push_back(made.back().get());
    }
    const Codes codes = connection.modify(Insert, "W3.N", handles);
    EXPECT_EQ(codes[0], 0);
    EXPECT_EQ(codes[1] == 0, takes_broken);
    EXPECT_EQ(codes[2] == 0, takes_han);
    EXPECT_EQ(codes.back(), 0);
    const Ids ids = connection.ids_of({"W3.N.B", "W3.N." + broken, "W3.N." + han, "W3.N.C"});
    for (size_t i = 0; i < ids.size(); ++i) EXPECT_EQ(ids[i] != 0, codes[i] == 0) << i;
    EXPECT_EQ(connection.object("W3.N." + broken) != nullptr, takes_broken);
    EXPECT_EQ(connection.object("W3.N." + han) != nullptr, takes_han);
    EXPECT_EQ(connection.children("W3.N").size(), 3u + takes_broken + takes_han);
    EXPECT_EQ(connection.status(), 0);
  }
}

}  // namespace kelptest
