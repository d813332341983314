// What a large backlog costs: a store over a file is written to once a second, so often that its
// samples wait to be merged; then it shows how long calls and queries in SQL take that meet them.
//
//   backlog FILE POINTS CALLS [samples=N]    with N samples (0) to begin with
#include <sqlite3.h>

#include "plant.h"

namespace {

using bench::Plant, bench::require;
using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

template <typename Call>
void time_call(const char *name, Call &&call) {
  const auto begin = Clock::now();
  require(call() == 0, name);
  std::printf("  %9.3f s  %s\n", seconds_since(begin), name);
}

void time_query(sqlite3 *file, const std::string &query) {
  const auto begin = Clock::now();
  sqlite3_stmt *statement = nullptr;
  int64_t rows = 0;
  require(sqlite3_prepare_v2(file, query.c_str(), -1, &statement, nullptr) == SQLITE_OK,
          query.c_str());
  while (sqlite3_step(statement) == SQLITE_ROW) ++rows;
  require(sqlite3_finalize(statement) == SQLITE_OK, query.c_str());
  std::printf("  %9.3f s  %s (%lld rows)\n", seconds_since(begin), query.c_str(),
              static_cast<long long>(rows));
}

void ask(const std::string &path, int32_t point) {
  sqlite3 *file = nullptr;
  require(sqlite3_open(path.c_str(), &file) == SQLITE_OK, "opening the store in SQL");
  const std::string of_point = " WHERE point_id = " + std::to_string(point);
  for (const char *view : {"sample", "current_value"}) {
    time_query(file, std::string("SELECT count(*) FROM ") + view);
    time_query(file, std::string("SELECT * FROM ") + view + of_point);
  }
  sqlite3_close(file);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 4) return 2;
  const std::string option = argc > 4 ? argv[4] : "samples=0";
  const int32_t calls = std::atoi(argv[3]);
  Plant plant(argv[1], std::atoi(argv[2]));
  plant.fill(std::atoll(option.c_str() + option.find('=') + 1));
  const int32_t begin = 1'000'000'000;
  for (int32_t call = 0; call < calls; ++call) {
    require(plant.write(true, begin + call) == 0, "writing");
  }
  std::printf("%d calls of %d points, %s\n", calls, plant.count(), option.c_str());
  ask(argv[1], plant.id(plant.count() / 2));
  time_call("kelp2_write_cache of 16 rows to one point in 128, at times that are staged",
            [&] { return plant.write_overlapping(begin, begin + 16); });
  for (const char *name : {"kelp2_write_value of one point", "the same again"}) {
    time_call(name, [&] { return plant.write_one(0, begin + calls); });
  }
  return 0;
}
