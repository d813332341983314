#include "probe/bed.h"

#include <algorithm>
#include <chrono>
#include <numeric>
#include <random>
#include <thread>

#include "probe/prefix.h"

namespace kelpcheck {

namespace {

constexpr size_t kFewPoints = 60;

}  // namespace

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

Bed::Bed(CheckContext &c_, Tree tree, int32_t first_node)
    : c(c_), session(std::make_unique<Session>(c_)) {
  c.connected();
  if (tree == Tree::none) return;
  const CheckOptions &o = c.options;
  const bool few = tree == Tree::few;
  int32_t node_count = o.nodes;
  if (few) node_count = 1;
  if (tree == Tree::reserved) node_count = kReservedNodes;
  for (int32_t i = 0; i < node_count; ++i)
    nodes.push_back(numbered(o.server.prefix, 2, first_node + i));
  if (tree == Tree::reserved) return;
  spare = numbered(o.server.prefix, 2, first_node + node_count);
  names.resize(few ? kFewPoints : static_cast<size_t>(o.points));
  for (size_t i = 0; i < points(); ++i) names[i] = full(node_of(i)) + "." + numbered("P", 5, i + 1);
  if (tree != Tree::found) make();
  await(names);
  ids = session->ids(names);
}

// Lets points be found by their names, which a server may take a while for.
void Bed::await(const Names &wanted) const {
  const int64_t start = now_ns();
  for (double pause = 0.005;; pause *= 1.6) {
    const Objects objects = session->objects(wanted);
    size_t found = 0;
    while (found < wanted.size() && objects.errors[found] == 0) ++found;
    if (found == wanted.size() || seconds_since(start) > c.options.settle) break;
    std::this_thread::sleep_for(std::chrono::duration<double>(std::min(pause, 0.5)));
  }
}

// Whether the library counts right and gives the right entries is for the checks of the tree to
// tell; here only a point that is not there matters.
void Bed::make() {
  const auto fill = [](Object object, size_t number, bool node) {
    set_fields(object, fields_of(number, 0), node);
  };
  Objects made(c, 0);
  for (const std::string &node : nodes) {
    made.add(session->new_object(node, KindNode));
    fill(made[made.size() - 1], made.size() - 1, true);
  }
  session->modify(Insert, c.server.database, made);
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
  return full(numbered(c.server.prefix, 2, number));
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

std::unique_ptr<Session> Bed::another_session() const {
  const std::string where = "a session beside another one of the same program";
  try {
    auto other = std::make_unique<Session>(c);
    c.read(Question::second_session, Answer::taken, where, "opened");
    return other;
  } catch (const NoSession &refusal) {
    c.read(Question::second_session, Answer::refused, where, refusal.what());
    return nullptr;
  }
}

std::unique_ptr<Session> Bed::required_session() const {
  auto other = another_session();
  if (!other) throw Moot("a second session at the same time is refused");
  return other;
}

int32_t Bed::add_point(const std::string &node, const std::string &name, int32_t kind) const {
  Objects made(c, 0);
  made.add(session->new_object(name, kind));
  const Modified done = session->modify(Insert, full(node), made);
  if (done.count != 1) {
    throw CallFailed(text("kelp2_modify_object did not insert ", name, ": gave ", done.count,
                          ", entry ", done.errors[0]));
  }
  const std::string full_name = full(node) + "." + name;
  await({full_name});
  return session->ids({full_name})[0];
}

}  // namespace kelpcheck
