// scripts/plot.sh on stores of both engines. What it drew is counted in the SVG, where a sample is
// a reference to a symbol.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "support/client.h"
#include "support/process.h"
#include "support/required.h"
#include "support/server.h"

namespace kelptest {

using namespace std::chrono_literals;

class Plot : public testing::Test {
 protected:
  void SetUp() override {
    REQUIRE_OR_SKIP(std::system("gnuplot --version && sqlite3 --version") == 0,
                    "no gnuplot, or no sqlite3");
    fill({.hosts = "file:" + store_});
  }

  // Two points: W3.N.P0 with five samples, of which two have a status and one is a NaN, and W3.N.P1
  // with one, a minute later.
  static void fill(const Login &login) {
    const Connection connection(login);
    ASSERT_TRUE(connection.open());
    const Ids ids = connection.make_points(2);
    const Rows rows{{1000, 0, 1.5}, {1010, -3, 2}, {1020, 0, NAN}, {1030, 7, 4}, {1040, 0, -5}};
    ASSERT_EQ(connection.write_history(ids.at(0), rows), 0);
    ASSERT_EQ(connection.write_history(ids.at(1), Rows{{1100, 0, 3}}), 0);
  }

  // What a run says on standard error.
  std::string plot(std::vector<std::string> arguments,
                   const std::vector<std::string> &variables = {}) {
    arguments.insert(arguments.begin(), PLOT);
    Process run(arguments, variables);
    const auto status = run.wait(30s);
    EXPECT_EQ(status, run.errors().empty() ? 0 : 1);
    return run.errors();
  }

  std::string picture(const std::string &name) const {
    std::ostringstream text;
    text << std::ifstream(folder_.path(name)).rdbuf();
    return text.str();
  }

  // How many samples the picture shows, and how many crosses; the legend has one of each kind.
  void expect_shown(int samples, int crosses) const {
    const std::string text = picture("picture.svg");
    const auto count = [&text](const std::string &symbol) {
      int found = 0;
      for (size_t at = 0; (at = text.find(symbol, at)) != std::string::npos; ++at) ++found;
      return found;
    };
    EXPECT_EQ(count("href='#gpPt6'"), samples) << text;
    EXPECT_EQ(count("href='#gpPt1'"), crosses) << text;
  }

  TempFolder folder_;
  std::string store_ = folder_.path("store");
  std::string svg_ = folder_.path("picture.svg");
};

TEST_F(Plot, ShowsTheSamplesOfAFileAndCrossesThoseWithAStatus) {
  EXPECT_EQ(plot({"-o", svg_, store_, "W3.N.P0", "W3.N.P1"}), "");
  expect_shown(5 + 2, 2 + 1);
  EXPECT_NE(picture("picture.svg").find("W3.N.P1"), std::string::npos);

  EXPECT_EQ(plot({"-B19700101001650", "-E", "@1040", "-o", svg_, "file:" + store_, "W3.N.P0"}), "");
  expect_shown(2 + 1, 2 + 1);

  EXPECT_EQ(plot({"-o", folder_.path("picture.png"), store_, "W3.N.P1"}), "");
  EXPECT_EQ(picture("picture.png").substr(1, 3), "PNG");
}

TEST_F(Plot, ShowsTheSamplesOfAServer) {
  REQUIRE_OR_SKIP(Server::available(), "PostgreSQL is not installed");
  Server server;
  const Login login{.hosts = server.host(), .port = server.port()};
  fill(login);
  const std::string store = "postgresql://tov@" + login.hosts + ":" + std::to_string(login.port);
  EXPECT_EQ(plot({"-o", svg_, store, "W3.N.P0"}, {"PGPASSWORD=" + login.password}), "");
  expect_shown(4 + 1, 2 + 1);
  const std::string refused = plot({"-o", svg_, store, "W3.N.P0"}, {"PGPASSWORD=secret"});
  EXPECT_NE(refused.find("password authentication failed"), std::string::npos) << refused;
}

TEST_F(Plot, SaysWhatIsWrongAndLeavesAnOldPictureAlone) {
  std::ofstream(svg_) << "old";
  std::ofstream(folder_.path("text")) << "no store, but long enough to have been one";
  const struct {
    std::vector<std::string> arguments;
    std::string message;
  } cases[] = {
      {{store_}, "usage: "},
      {{"-x", store_, "W3.N.P0"}, "usage: "},
      {{folder_.path("none"), "W3.N.P0"}, "there is no file " + folder_.path("none")},
      {{folder_.path("text"), "W3.N.P0"}, "file is not a database"},
      {{"-o", svg_, store_, "W3.N.P0", "W3.N.P9"}, store_ + " has no point W3.N.P9"},
      {{"-o", svg_, store_, "W3.N"}, store_ + " has no point W3.N"},
      {{"-o", svg_, store_, "it's"}, store_ + " has no point it's"},
      {{"-B", "@1050", "-o", svg_, store_, "W3.N.P0"}, "W3.N.P0 has no samples in that time"},
      {{"-B", "noon-ish", store_, "W3.N.P0"}, "not a time: noon-ish"},
      {{"-o", "picture.gif", store_, "W3.N.P0"}, "must end in .png or .svg"},
      {{"-o", folder_.path("none/x.svg"), store_, "W3.N.P0"}, "cannot write "},
  };
  for (const auto &[arguments, message] : cases) {
    const std::string said = plot(arguments);
    EXPECT_NE(said.find(message), std::string::npos) << said;
  }
  EXPECT_EQ(picture("picture.svg"), "old");
}

}  // namespace kelptest
