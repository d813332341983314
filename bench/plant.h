// A plant as the measurements over a file see it: a store with points that are written to and read.
#pragma once

#include <kelpapi2.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace bench {

inline void require(bool condition, const char *what) {
  if (condition) return;
  std::fprintf(stderr, "%s failed\n", what);
  std::exit(1);
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
  // Rows at these times to one point of every 128.
  int32_t write_overlapping(int32_t begin, int32_t end) {
    std::vector<int32_t> ids, times;
    for (int32_t point = 0; point < count(); point += 128) {
      for (int32_t time = begin; time < end; ++time) {
        ids.push_back(ids_[point]);
        times.push_back(time);
      }
    }
    const std::vector<int16_t> statuses(ids.size());
    const std::vector<double> values(ids.size(), 0.5);
    std::vector<int32_t> errors(ids.size());
    return kelp2_write_cache(connection_, 0, static_cast<int32_t>(ids.size()), ids.data(),
                             times.data(), statuses.data(), values.data(), errors.data());
  }
  int32_t write_one(int32_t point, int32_t time) {
    return kelp2_write_value(connection_, 0, 1, &ids_[point], time, statuses_.data(),
                             values_.data(), errors_.data());
  }
  int32_t id(int32_t point) const { return ids_[point]; }
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

}  // namespace bench
