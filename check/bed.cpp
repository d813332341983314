#include "bed.h"

#include <algorithm>
#include <numeric>
#include <random>

namespace kelpcheck {

namespace {

constexpr int32_t kStart = 1346432400;  // 2012-08-31 17:00:00 UTC, where kelptest writes too
constexpr int32_t kApart = 1000;        // seconds between windows, for values beside them
constexpr size_t kObjectsPerCall = 1000;
constexpr int64_t kRowsPerQuery = 1'000'000;

std::string numbered(const std::string &prefix, int width, size_t number) {
  const std::string digits = std::to_string(number);
  return prefix + std::string(std::max<int>(0, width - static_cast<int>(digits.size())), '0') +
         digits;
}

}  // namespace

Fields fields_of(size_t number, int32_t version) {
  const auto n = static_cast<int32_t>(number) * 3 + version * 1'000'003;
  return {text("object ", number, ", version ", version), n + 1, -n - 70'000, n + 2 * 65'536,
          -n - 0.1};
}

void set_fields(ObjectHandle object, const Fields &f, bool node) {
  set(object, KELP2_FIELD_DESCRIPTION, f.ed);
  set(object, KELP2_FIELD_IV, f.iv);
  if (node) set(object, KELP2_FIELD_FQ, f.fq);
  if (node) set(object, KELP2_FIELD_AR, f.ar);
  if (!node) set(object, KELP2_FIELD_HW, f.hw);
}

std::string own_name(const std::string &full_name) {
  return full_name.substr(full_name.rfind('.') + 1);
}

void expect_fields(Evidence &e, ObjectHandle object, const Fields &want, bool node,
                   const std::string &name) {
  const auto field = [&](const char *code) { return [=] { return text(code, " of ", name); }; };
  e.equal(own_name(name), get_text(object, KELP2_FIELD_NAME), field("PN"));
  e.equal(want.ed, get_text(object, KELP2_FIELD_DESCRIPTION), field("ED"));
  e.equal(want.iv, get_double(object, KELP2_FIELD_IV), field("IV"));
  if (node) e.equal(want.fq, get_int(object, KELP2_FIELD_FQ), field("FQ"));
  if (node) e.equal(want.ar, get_int(object, KELP2_FIELD_AR), field("AR"));
  if (!node) e.equal(want.hw, get_int(object, KELP2_FIELD_HW), field("HW"));
}

std::vector<size_t> in_order(size_t n) {
  std::vector<size_t> order(n);
  std::iota(order.begin(), order.end(), size_t{0});
  return order;
}

std::vector<size_t> shuffled(size_t n) {
  std::vector<size_t> order = in_order(n);
  std::shuffle(order.begin(), order.end(), std::mt19937(12345));
  return order;
}

std::vector<size_t> some_of(size_t n) {
  constexpr size_t most = 40;
  if (n <= most) return in_order(n);
  std::vector<size_t> some;
  for (size_t i = 0; i < most; ++i) some.push_back(i * (n - 1) / (most - 1));
  return some;
}

Bed::Bed(Context &c_, Tree tree, int32_t first_node)
    : c(c_), session(std::make_unique<Session>(c_)) {
  c.connected();
  if (tree == Tree::none) return;
  const Options &o = c.options;
  for (int32_t i = 0; i < o.nodes; ++i) nodes.push_back(numbered(o.prefix, 2, first_node + i));
  spare = numbered(o.prefix, 2, first_node + o.nodes);
  names.resize(o.points);
  for (size_t i = 0; i < points(); ++i) names[i] = full(node_of(i)) + "." + numbered("P", 5, i + 1);
  if (tree == Tree::made) make();
  ids = session->ids(names);
}

// Whether the library counts right and gives the right entries is for the checks of the tree to
// tell; here only a point that is not there matters.
void Bed::make() {
  const auto fill = [](ObjectHandle object, size_t number, bool node) {
    set_fields(object, fields_of(number, 0), node);
  };
  Objects made(c, 0);
  for (const std::string &node : nodes) {
    made.add(session->new_object(node, KindNode));
    fill(made[made.size() - 1], made.size() - 1, true);
  }
  session->modify(Insert, c.options.database, made);
  for (size_t first = 0; first < points();) {
    Objects batch(c, 0);
    const std::string &node = node_of(first);
    size_t i = first;
    for (; i < points() && node_of(i) == node && batch.size() < kObjectsPerCall; ++i) {
      batch.add(session->new_object(own_name(names[i]), kind(i)));
      fill(batch[batch.size() - 1], i, false);
    }
    const Modified done = session->modify(Insert, full(node), batch);
    if (done.count <= 0) {
      throw CallFailed(text("kelp2_modify_object inserted no point under ", full(node), ": gave ",
                            done.count, ", first entry ", done.errors[0]));
    }
    first = i;
  }
}

std::string Bed::node_name(int32_t number) const {
  return full(numbered(c.options.prefix, 2, number));
}

std::string Bed::described(size_t point) const {
  return text(names[point], " (", name_of_kind(kind(point)), ")");
}

Who Bed::who(bool by_name, const std::vector<size_t> &order) const {
  Names some_names;
  Ids some_ids;
  for (const size_t i : order) {
    if (by_name) some_names.push_back(names[i]);
    if (!by_name) some_ids.push_back(ids[i]);
  }
  return by_name ? Who(std::move(some_names)) : Who(std::move(some_ids));
}

int32_t Bed::add_point(const std::string &node, const std::string &name, int32_t kind) const {
  Objects made(c, 0);
  made.add(session->new_object(name, kind));
  const Modified done = session->modify(Insert, full(node), made);
  if (done.count != 1) {
    throw CallFailed(text("kelp2_modify_object did not insert ", name, ": gave ", done.count,
                          ", entry ", done.errors[0]));
  }
  return session->ids({full(node) + "." + name})[0];
}

Window::Window(const Bed &bed, int slot, int64_t most)
    : rows(std::min<int64_t>(bed.c.options.samples, most)),
      begin(kStart + slot * (Series::length(bed.c.options.samples) + kApart)),
      end(begin + Series::length(rows)),
      bed_(bed),
      salt_(static_cast<uint32_t>(slot)) {}

Sample Window::at(size_t point, int64_t row) const {
  const Series series(bed_.kind(point), static_cast<uint32_t>(point), salt_);
  return {begin + series.offset(row), series.status(row), series.value(row)};
}

Columns Window::columns(size_t point, int64_t first, int64_t last) const {
  Columns columns;
  for (int64_t row = first; row < last; ++row) columns.add(at(point, row));
  return columns;
}

Columns Window::across(const std::vector<size_t> &order, int64_t row) const {
  Columns columns;
  for (const size_t point : order) columns.add(at(point, row));
  return columns;
}

std::string Window::place(size_t point, int64_t row) const {
  return text(bed_.described(point), ", row ", row + 1, " of ", rows, ", ",
              clock_text(at(point, row).time));
}

void expect_done(Bed &bed, Op operation, const Out<int32_t> &errors) {
  for (size_t i = 0; i < errors.size(); ++i) {
    bed.c.evidence.equal(0, errors[i],
                         [&] { return text("entry ", i + 1, " of ", name_of(operation)); });
  }
}

void expect_readings(Bed &bed, const Readings &have, const std::vector<size_t> &order,
                     const Window &window, int64_t row, int32_t time, bool with_times) {
  Evidence &e = bed.c.evidence;
  for (size_t i = 0; i < order.size(); ++i) {
    const auto where = [&] { return text(bed.names[order[i]], " at ", clock_text(time)); };
    if (!e.equal(0, have.errors[i], [&] { return "entry of " + where(); })) continue;
    Sample want = window.at(order[i], row);
    want.time = with_times ? time : have.times[i];
    expect_sample(e, want, have[i], where);
  }
}

void expect_rows(Bed &bed, const History &history, size_t result, const Window &window,
                 size_t point, int64_t first, int64_t last) {
  Evidence &e = bed.c.evidence;
  if (!e.equal(0, history.errors[result], [&] { return "entry of " + bed.names[point]; })) return;
  const int64_t rows = history.rows(result);
  e.equal(last - first, rows, [&] { return "number of rows of " + bed.names[point]; });
  for (int64_t row = first; row < std::min(last, first + rows); ++row) {
    expect_sample(e, window.at(point, row), history.next(result),
                  [&] { return window.place(point, row); });
  }
}

void expect_history(Bed &bed, bool by_name, const Window &window,
                    const std::vector<size_t> &points) {
  const size_t step = std::max<int64_t>(1, kRowsPerQuery / window.rows);
  for (size_t begin = 0; begin < points.size(); begin += step) {
    const std::vector<size_t> some(points.begin() + begin,
                                   points.begin() + std::min(begin + step, points.size()));
    const History history = bed.session->history(bed.who(by_name, some), window.begin, window.end);
    for (size_t i = 0; i < some.size(); ++i) {
      expect_rows(bed, history, i, window, some[i], 0, window.rows);
      bed.c.progress(begin + i + 1, points.size());
    }
  }
}

void write_history(Bed &bed, bool by_name, const Window &window, const std::vector<size_t> &points,
                   bool later_block_first) {
  const int64_t block = std::min(kRowsPerCall, (window.rows + 1) / 2);
  const int64_t blocks = (window.rows + block - 1) / block;
  size_t done = 0;
  for (const size_t point : points) {
    for (int64_t i = 0; i < blocks; ++i) {
      const int64_t first = (later_block_first ? blocks - 1 - i : i) * block;
      const Columns rows = window.columns(point, first, std::min(first + block, window.rows));
      const Out<int32_t> error = by_name ? bed.session->write_history(bed.names[point], rows)
                                         : bed.session->write_history(bed.ids[point], rows);
      bed.c.evidence.equal(0, error[0], [&] { return "entry of " + bed.names[point]; });
    }
    bed.c.progress(++done, points.size());
  }
}

}  // namespace kelpcheck
