#include "probe/handles.h"

#include <algorithm>
#include <utility>

namespace kelpcheck {

void Columns::add(const Sample &sample) {
  times.push_back(sample.time);
  statuses.push_back(sample.status);
  values.push_back(sample.value);
}

size_t size_of(const Who &points) {
  return std::visit([](const auto &list) { return list.size(); }, points);
}

Group::Group(Context &c, const Names &names)
    : c_(c), handle_(c.calls.call<kelp2_new_group>(0)), size_(names.size()) {
  if (handle_ == nullptr) throw CallFailed("kelp2_new_group gave null");
  std::string buffer;
  for (const std::string &name : names) {
    buffer = name;
    c.calls.checked<kelp2_add_group_point>(1, handle_, buffer.c_str());
    buffer.assign(buffer.size(), '#');
  }
}

Group::~Group() { release<kelp2_free_group>(c_, handle_); }

Objects::Objects(Context &c, int32_t count, ObjectHandle *list)
    : errors(0), c_(c), handles_(list, list + count), list_(list) {}

Objects::Objects(Objects &&other) noexcept
    : errors(std::move(other.errors)),
      c_(other.c_),
      handles_(std::exchange(other.handles_, {})),
      list_(std::exchange(other.list_, nullptr)) {}

Objects::~Objects() {
  if (list_ != nullptr) {
    release<kelp2_free_list>(c_, static_cast<int32_t>(handles_.size()), list_);
    return;
  }
  for (const ObjectHandle object : handles_) {
    if (object != nullptr) release<kelp2_free_object>(c_, object);
  }
}

void set(Object object, const char *field, const std::string &value) {
  const Passing passing(value);
  object.calls->checked<kelp2_object_set_string>(1, object.handle, field, passing.c_str());
}

void set(Object object, const char *field, int32_t value) {
  object.calls->checked<kelp2_object_set_int>(1, object.handle, field, value);
}

void set(Object object, const char *field, double value) {
  object.calls->checked<kelp2_object_set_double>(1, object.handle, field, value);
}

std::string get_text(Object object, const char *field, size_t size) {
  std::string buffer(size + 1, '#');
  object.calls->checked<kelp2_object_get_string>(1, object.handle, field, buffer.data(),
                                                 static_cast<int32_t>(size));
  const size_t end = buffer.find('\0');
  if (end >= size || buffer.back() != '#') {
    throw CallFailed(text("kelp2_object_get_string wrote past the end of its buffer of ", size,
                          " bytes, or no zero at its end"));
  }
  return buffer.substr(0, end);
}

int32_t get_int(Object object, const char *field) {
  return object.calls->call<kelp2_object_get_int>(1, object.handle, field);
}

double get_double(Object object, const char *field) {
  return object.calls->call<kelp2_object_get_double>(1, object.handle, field);
}

History::History(History &&other) noexcept
    : errors(std::move(other.errors)), c_(other.c_), results_(std::exchange(other.results_, {})) {}

History::~History() {
  for (const ResultHandle result : results_) release<kelp2_free_result>(c_, result);
}

Sample History::next(size_t i) const {
  Sample row{-1, -1, -1};
  c_.calls.checked<kelp2_fetch_timed_value>(1, results_[i], &row.time, &row.status, &row.value);
  return row;
}

int64_t History::fetch_all(size_t i) const {
  const int32_t count = rows(i);
  return c_.calls.measured_as_one<kelp2_fetch_timed_value>(std::max(count, 0), [&] {
    int64_t fetched = 0;
    Sample row;
    while (fetched < count &&
           kelp2_fetch_timed_value(results_[i], &row.time, &row.status, &row.value) == 0) {
      ++fetched;
    }
    return fetched;
  });
}

StatValue History::next_statistics(size_t i) const {
  StatValue row{-1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
  const int32_t result = c_.calls.call<kelp2_fetch_stat_value>(1, results_[i], &row);
  if (result == 0 || result == 1) return row;
  c_.calls.count_failure(Op::fetch_stat_value);
  throw CallFailed(text("kelp2_fetch_stat_value gave ", result));
}

}  // namespace kelpcheck
