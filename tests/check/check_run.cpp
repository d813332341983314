#include "check_run.h"

#include <sqlite3.h>

#include <fstream>
#include <iterator>

namespace kelptest {

std::string contents(const std::string &path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

Words command(const std::string &host, const Words &options) {
  Words words{CHECK_PROGRAM, "-H" + host, "-O", "8", "--explore-calls=200"};
  words.insert(words.end(), options.begin(), options.end());
  return words;
}

Words with_fault(const std::string &fault) {
  return preloaded(FAULTY_LIBRARY, {"KELP_FAULT=" + fault});
}

std::string sql(const std::string &store, const std::string &statement) {
  constexpr int patience = 5000;  // milliseconds, for a run that writes
  sqlite3 *database = nullptr;
  std::string cells;
  const auto add = [](void *to, int, char **values, char **) {
    *static_cast<std::string *>(to) += std::string(values[0]) + " ";
    return 0;
  };
  sqlite3_open_v2(store.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr);
  sqlite3_busy_timeout(database, patience);
  sqlite3_exec(database, statement.c_str(), add, &cells, nullptr);
  sqlite3_close(database);
  return cells;
}

std::string left_in(const std::string &store) {
  std::string counts;
  for (const char *table : {"object", "sample", "staged_sample", "current_value"}) {
    counts += sql(store, std::string("SELECT count(*) FROM ") + table);
  }
  return counts;
}

size_t count_of(const std::string &part, const std::string &whole) {
  size_t count = 0;
  for (size_t at = 0; (at = whole.find(part, at)) != std::string::npos; at += part.size()) ++count;
  return count;
}

}  // namespace kelptest
