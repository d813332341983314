// Hours of a plant in minutes: a store over a file with a long history is written to once a second
// of its time, as fast as it takes it, while one point after the other is read. Shows how long
// calls take, what they write to the disk and how large the log becomes.
//
//   steady FILE POINTS CALLS [samples=N]    with N samples (10,000,000) to begin with
#include <filesystem>
#include <fstream>

#include "plant.h"

namespace {

using bench::Plant, bench::require;

using Clock = std::chrono::steady_clock;

// Durations of one kind of call.
class Durations {
 public:
  explicit Durations(const char *name) : name_(name) {}
  template <typename Call>
  void time(Call &&call) {
    const auto begin = Clock::now();
    require(call() == 0, name_);
    seconds_.push_back(std::chrono::duration<double>(Clock::now() - begin).count());
  }
  void show() {
    std::sort(seconds_.begin(), seconds_.end());
    const auto share = [&](double part) { return seconds_[size_t(part * (seconds_.size() - 1))]; };
    std::printf("  %-28s median %8.3f ms, 99 of 100 %8.3f ms, longest %8.3f ms\n", name_,
                share(0.5) * 1e3, share(0.99) * 1e3, share(1) * 1e3);
  }

 private:
  const char *name_;
  std::vector<double> seconds_;
};

// What this process has given to the disk, in bytes.
int64_t written_to_disk() {
  std::ifstream counters("/proc/self/io");
  std::string name;
  int64_t count = 0;
  while (counters >> name >> count) {
    if (name == "write_bytes:") return count;
  }
  return 0;
}

void run(Plant &plant, const std::string &file, bool realtime, int32_t calls, int32_t &time) {
  Durations write(realtime ? "write_value of all" : "write_snap of all");
  Durations current("get_value of one"), newest("get_snap of one"), all("get_snap of all");
  std::mt19937 random(1);
  uintmax_t longest_log = 0;
  const int64_t before = written_to_disk();
  for (int32_t call = 0; call < calls; ++call, ++time) {
    write.time([&] { return plant.write(realtime, time); });
    const auto point = static_cast<int32_t>(random() % plant.count());
    current.time([&] { return plant.read_current(point); });
    newest.time([&] { return plant.read_newest(point, time); });
    if (call % 100 == 99) all.time([&] { return plant.read_all(time); });
    longest_log = std::max(longest_log, std::filesystem::file_size(file + "-wal"));
  }
  const double samples = double(calls) * plant.count();
  std::printf("%d calls of %d points: %.0f bytes to the disk per sample, log of %.0f MiB at most\n",
              calls, plant.count(), double(written_to_disk() - before) / samples,
              double(longest_log) / (1 << 20));
  for (Durations *durations : {&write, &current, &newest, &all}) durations->show();
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 4) return 2;
  const std::string option = argc > 4 ? argv[4] : "samples=10000000";
  const int32_t calls = std::atoi(argv[3]);
  Plant plant(argv[1], std::atoi(argv[2]));
  plant.fill(std::atoll(option.c_str() + option.find('=') + 1));
  int32_t time = 1'000'000'000;
  for (const bool realtime : {true, false}) run(plant, argv[1], realtime, calls, time);
  return 0;
}
