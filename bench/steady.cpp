// Hours of a plant in minutes: a store over a file with a long history is written to once a second
// of its time, as fast as it takes it, while one point after the other is read. Shows how long
// calls take, what they write to the disk and how large the log becomes.
//
//   steady FILE POINTS CALLS [samples=N]    with N samples (10,000,000) to begin with
#include <kelpapi2.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

void require(bool condition, const char *what) {
  if (condition) return;
  std::fprintf(stderr, "steady: %s failed\n", what);
  std::exit(1);
}

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

class Plant {
 public:
  Plant(const std::string &file, int32_t points)
      : connection_(kelp2_init(0, ("file:" + file).c_str(), 0, 30, "", "", "NULL", 0)),
        ids_(points),
        statuses_(points),
        values_(points),
        errors_(points) {
    require(connection_ != nullptr, "opening the store");
    make_points();
  }
  ~Plant() { kelp2_close(connection_); }

  void fill(int64_t samples) {
    const int32_t per_point = static_cast<int32_t>(samples / count());
    std::vector<int32_t> ids(per_point), times(per_point);
    std::vector<int16_t> statuses(per_point);
    std::vector<double> values(per_point);
    std::iota(times.begin(), times.end(), -per_point);
    for (const int32_t id : ids_) {
      int32_t error = 0;
      for (double &value : values) value = noise();
      require(kelp2_write_histroy_byid(connection_, 0, id, per_point, times.data(), statuses.data(),
                                       values.data(), &error) == 0,
              "filling");
    }
  }
  int32_t write(bool realtime, int32_t time) {
    for (double &value : values_) value = noise();
    const auto call = realtime ? kelp2_write_value : kelp2_write_snap;
    return call(connection_, 0, count(), ids_.data(), time, statuses_.data(), values_.data(),
                errors_.data());
  }
  int32_t read_current(int32_t point) {
    int32_t time = 0;
    return kelp2_get_value_byid(connection_, 1, &ids_[point], &time, statuses_.data(),
                                values_.data(), errors_.data());
  }
  int32_t read_newest(int32_t point, int32_t time) {
    return kelp2_get_snap_byid(connection_, 1, &ids_[point], time, statuses_.data(), values_.data(),
                               errors_.data());
  }
  int32_t read_all(int32_t time) {
    return kelp2_get_snap_byid(connection_, count(), ids_.data(), time, statuses_.data(),
                               values_.data(), errors_.data());
  }
  int32_t count() const { return static_cast<int32_t>(ids_.size()); }

 private:
  void make_points() {
    insert("W3", {"N"}, KindNode);
    std::vector<std::string> names;
    for (int32_t i = 0; i < count(); ++i) names.push_back("P" + std::to_string(i));
    insert("W3.N", names, AX);
    GroupHandle group = kelp2_new_group();
    for (const std::string &name : names) kelp2_add_group_point(group, ("W3.N." + name).c_str());
    require(kelp2_get_id_byname(connection_, group, ids_.data()) == 0, "looking up the points");
    kelp2_free_group(group);
  }
  void insert(const char *parent, const std::vector<std::string> &names, int32_t kind) {
    std::vector<ObjectHandle> objects;
    for (const std::string &name : names) {
      objects.push_back(kelp2_new_object(connection_, name.c_str(), kind));
    }
    const auto n = static_cast<int32_t>(objects.size());
    errors_.resize(std::max<size_t>(errors_.size(), objects.size()));
    require(
        kelp2_modify_object(connection_, Insert, parent, n, objects.data(), errors_.data()) == n,
        "making the points");
    for (ObjectHandle object : objects) kelp2_free_object(object);
  }
  // Like measured values, with as many digits as they have.
  double noise() { return std::uniform_real_distribution<double>(-100, 100)(random_); }

  ConnectionHandle connection_;
  std::vector<int32_t> ids_;
  std::vector<int16_t> statuses_;
  std::vector<double> values_;
  std::vector<int32_t> errors_;
  std::mt19937_64 random_{1};
};

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
