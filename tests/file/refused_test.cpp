// Files that are no store, or none for this program.
#include "fixture.h"

namespace kelptest {

class Refused : public FileTest {};

// A file and the write-ahead log beside it.
std::string contents(const std::string &path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf() << std::ifstream(path + "-wal").rdbuf();
  return text.str();
}

TEST_F(Refused, FilesThatAreNoStoreAreLeftAlone) {
  make_store(store_);
  const std::string good = contents(store_);
  const std::string hole(24'576, '\0');
  const std::string damaged = good.substr(0, 4096) + hole + good.substr(28'672);
  const struct {
    const char *name, *cause;
    std::string bytes, statement;
    const char *last_line = "connect error!\n";
  } cases[] = {
      {"nowhere/store", "No such file or directory", "", ""},
      {"text", "not a database", std::string(5000, 't'), ""},
      {"foreign", "not a kelp store", "", "CREATE TABLE t (a); INSERT INTO t VALUES (1)"},
      {"log", "not a kelp store", "", "PRAGMA journal_mode = WAL; CREATE TABLE t (a)"},
      {"newer", "newer version", good, "PRAGMA user_version = 4"},
      {"truncated", "malformed", good.substr(0, good.size() / 2), ""},
      {"damaged", "malformed", damaged, "", "no database !\n"},  // which is a store at first sight
  };
  for (const auto &[name, cause, bytes, statement, last_line] : cases) {
    SCOPED_TRACE(name);
    const std::string path = folder_.path(name);
    std::ofstream(path) << bytes;
    if (!statement.empty()) sql(path, statement);
    const std::string before = contents(path);
    expect_refused(path, cause, last_line);
    EXPECT_TRUE(contents(path) == before || before == damaged);
  }
  EXPECT_GT(fs::file_size(folder_.path("log-wal")), 0u);
}

}  // namespace kelptest
