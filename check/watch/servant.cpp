#include "watch/servant.h"

#include <algorithm>

#include "watch/values.h"

namespace kelpcheck::watch {

namespace {

// "kelp2_write_value gave -2" is code "-2" to those who know which call it was.
std::string code_of(const CallFailed &error) {
  const std::string words = error.what();
  const size_t gave = words.rfind(" gave ");
  return gave == words.npos ? words : words.substr(gave + 6);
}

}  // namespace

Servant::Servant(const ServerOptions &server, const JournalHead &head, CallBoard &board)
    : context_(server, board),
      head_(head),
      names_(head.server.database, head.server.prefix, head.points) {}

Reply Servant::answer(const Request &request) {
  if (request.what != Request::connect && !session_) {
    Reply reply;
    reply.code = "no session";
    reply.lost = true;
    return reply;
  }
  return act(request);
}

Reply Servant::act(const Request &request) {
  Reply reply;
  reply.began = now_ns();
  try {
    switch (request.what) {
      case Request::connect: connect(request, reply); break;
      case Request::look: look(reply); break;
      case Request::make: make(); break;
      case Request::mark: mark(request.first); break;
      case Request::write: write(request, reply); break;
      case Request::current: read_current(request, reply); break;
      case Request::history: read_history(request, reply); break;
      case Request::remove: remove(); break;
    }
    reply.done = true;
  } catch (const NoSession &) {
    reply.code = "no session";
    reply.lost = true;
  } catch (const CallFailed &error) {
    if (reply.ended == 0) reply.ended = now_ns();
    const bool about_one_call = request.what == Request::write;
    reply.code = about_one_call ? code_of(error) : error.what();
    reply.lost = !session_ || session_->status() != 0;
  }
  if (reply.ended == 0) reply.ended = now_ns();
  if (reply.lost) session_.reset();
  if (request.what == Request::write && reply.done) prepare(request.step + 1);
  return reply;
}

// Does something with `count` things, `limit` at a time; where a working session refuses that many,
// half as many. What is refused one by one is not refused for its number.
template <typename Act>
void Servant::in_parts(size_t count, size_t &limit, const Act &act) {
  const size_t limit_before = limit;
  for (size_t first = 0; first < count;) {
    const size_t size = std::min(limit, count - first);
    try {
      act(first, size);
      first += size;
    } catch (const CallFailed &) {
      if (size == 1 || session_->status() != 0) {
        limit = limit_before;
        throw;
      }
      limit = size / 2;
    }
  }
}

void Servant::connect(const Request &request, Reply &reply) {
  session_.reset();
  session_ = std::make_unique<Session>(context_);
  reply.began = now_ns();
  reply.server_time = session_->time();
  reply.ended = now_ns();
  if (request.first != 0) look_up();
}

Names Servant::node_names() const {
  Names names;
  for (int64_t node = 0; node < names_.nodes(); ++node) names.push_back(names_.full_node(node));
  return names;
}

std::vector<std::string> Servant::marks() {
  const Names names = node_names();
  std::vector<std::string> marks;
  in_parts(names.size(), names_per_call_, [&](size_t first, size_t size) {
    const Objects nodes =
        session_->objects(Names(names.begin() + first, names.begin() + first + size));
    std::vector<std::string> some;
    for (size_t i = 0; i < size; ++i) {
      const bool there = nodes.errors[i] == 0 && nodes[i].handle != nullptr;
      some.push_back(there ? get_text(nodes[i], KELP2_FIELD_DESCRIPTION) : "");
      if (there && some.back().empty()) some.back() = "nobody's";
    }
    marks.insert(marks.end(), some.begin(), some.end());
  });
  return marks;
}

// Which of a node's points of the watch are there.
std::vector<bool> Servant::points_under(int64_t node) {
  const Span points = names_.points_of(node);
  std::vector<std::string> listed;
  const Objects children = session_->children(names_.full_node(node));
  for (size_t i = 0; i < children.size(); ++i) {
    listed.push_back(get_text(children[i], KELP2_FIELD_NAME));
  }
  std::sort(listed.begin(), listed.end());
  std::vector<bool> there;
  for (int64_t point = points.first; point <= points.last; ++point) {
    there.push_back(std::binary_search(listed.begin(), listed.end(), names_.point(point)));
  }
  return there;
}

void Servant::look(Reply &reply) {
  const std::vector<std::string> found = marks();
  int64_t missing = 0, ours = 0;
  for (size_t node = 0; node < found.size(); ++node) {
    const bool mine = seed_of_mark(found[node]) == head_.seed;
    if (found[node].empty()) ++missing;
    if (mine) ++ours;
    if (!mine) reply.points.add(names_.points_of(static_cast<int64_t>(node)));
  }
  const bool foreign = missing + ours < names_.nodes();
  reply.tree = ours == 0 ? TreeState::missing : TreeState::ours;
  if (foreign) reply.tree = TreeState::foreign;
  if (reply.tree != TreeState::ours) return;
  look_up();
  reply.points = missing_;
}

// An id is used only where the point is seen to be there: what a library leaves for an unknown name
// may be somebody else's.
void Servant::look_up() {
  points_.clear();
  ids_.clear();
  missing_ = {};
  prepared_step_ = -1;
  const std::vector<std::string> found = marks();
  Names names;
  for (int64_t node = 0; node < names_.nodes(); ++node) {
    const Span points = names_.points_of(node);
    if (seed_of_mark(found[static_cast<size_t>(node)]) != head_.seed) {
      missing_.add(points);
      continue;
    }
    const std::vector<bool> there = points_under(node);
    for (int64_t point = points.first; point <= points.last; ++point) {
      if (there[static_cast<size_t>(point - points.first)]) {
        points_.push_back(point);
        names.push_back(names_.full_point(point));
      } else {
        missing_.add(point);
      }
    }
  }
  in_parts(names.size(), names_per_call_, [&](size_t first, size_t size) {
    const Ids some = session_->ids(Names(names.begin() + first, names.begin() + first + size));
    ids_.insert(ids_.end(), some.begin(), some.end());
  });
}

void Servant::make() {
  make_nodes();
  for (int64_t node = 0; node < names_.nodes(); ++node) make_points(node);
}

void Servant::apply(ModifyOperation operation, const std::string &parent,
                    std::vector<ObjectHandle> some) {
  in_parts(some.size(), objects_per_call_, [&](size_t first, size_t size) {
    const Modified done = session_->modify(operation, parent, size, some.data() + first);
    if (done.count == static_cast<int32_t>(size)) return;
    throw CallFailed(text("kelp2_modify_object under ", parent, " gave ", done.count, " for ", size,
                          " objects, first entry ", done.errors[0]));
  });
}

void Servant::make_nodes() {
  const std::vector<std::string> found = marks();
  Objects made(context_, 0);
  std::vector<ObjectHandle> some;
  for (int64_t node = 0; node < names_.nodes(); ++node) {
    if (!found[static_cast<size_t>(node)].empty()) continue;
    made.add(session_->new_object(names_.node(node), KindNode));
    set(made[made.size() - 1], KELP2_FIELD_DESCRIPTION, watch_mark(head_.seed, 0));
    some.push_back(made[made.size() - 1].handle);
  }
  apply(Insert, head_.server.database, some);
}

void Servant::make_points(int64_t node) {
  const Span points = names_.points_of(node);
  const std::vector<bool> there = points_under(node);
  Objects made(context_, 0);
  std::vector<ObjectHandle> some;
  for (int64_t point = points.first; point <= points.last; ++point) {
    if (there[static_cast<size_t>(point - points.first)]) continue;
    made.add(session_->new_object(names_.point(point), watched_kind(point)));
    some.push_back(made[made.size() - 1].handle);
  }
  apply(Insert, names_.full_node(node), some);
}

void Servant::mark(int64_t first) {
  const Names names = node_names();
  in_parts(names.size(), names_per_call_, [&](size_t begin, size_t size) {
    Objects nodes = session_->objects(Names(names.begin() + begin, names.begin() + begin + size));
    std::vector<ObjectHandle> some;
    for (size_t i = 0; i < size; ++i) {
      if (nodes[i].handle == nullptr) throw CallFailed(names[begin + i] + " is not there");
      set(nodes[i], KELP2_FIELD_DESCRIPTION, watch_mark(head_.seed, first));
      some.push_back(nodes[i].handle);
    }
    apply(Update, head_.server.database, some);
  });
}

void Servant::prepare(int64_t step) {
  if (prepared_step_ == step) return;
  prepared_.statuses.clear();
  prepared_.values.clear();
  for (const int64_t point : points_) {
    const Written written = written_value(head_.seed, point, step);
    prepared_.statuses.push_back(written.status);
    prepared_.values.push_back(written.value);
  }
  prepared_step_ = step;
}

void Servant::write(const Request &request, Reply &reply) {
  prepare(request.step);
  const auto time = static_cast<int32_t>(Grid{request.first, head_.every}.time_of(request.step));
  reply.points = missing_;
  reply.began = now_ns();
  const Out<int32_t> entries = session_->write_value(ids_, time, prepared_);
  reply.ended = now_ns();
  for (size_t i = 0; i < entries.size(); ++i) {
    if (entries[i] >= 0) continue;
    reply.points.add(points_[i]);
    if (reply.code.empty()) reply.code = text("entry ", entries[i]);
  }
}

void Servant::read_current(const Request &request, Reply &reply) {
  const Grid grid{request.first, head_.every};
  for (const Span &part : missing_.parts()) {
    for (int64_t point = part.first; point <= part.last; ++point) {
      reply.current.add(point, kNoValue);
    }
  }
  in_parts(ids_.size(), values_per_call_, [&](size_t first, size_t size) {
    const Readings read = session_->values(Ids(ids_.begin() + first, ids_.begin() + first + size));
    for (size_t i = 0; i < size; ++i) {
      const int64_t point = points_[first + i];
      if (read.errors[i] != 0) {
        reply.current.add(point, kNoValue);
        continue;
      }
      const Row row{read.times[i], read.statuses[i], read.values[i]};
      const int64_t step = step_of(grid, head_.seed, point, row);
      reply.current.add(point, step);
      constexpr size_t few = 5;
      if (step == kForeignValue && reply.current.examples.size() < few) {
        reply.current.examples.push_back({names_.full_point(point), row.time,
                                          "a value that was written",
                                          value_text(row.status, row.value)});
      }
    }
  });
}

// Some libraries count the end of a range in: what lies outside of it is another slice's to count.
Shown Servant::rows_of(const History &history, size_t result, int64_t point, const Request &request,
                       std::vector<Oddity> &examples) const {
  std::vector<Row> rows;
  for (int32_t left = history.rows(result); left > 0; --left) {
    const Sample row = history.next(result);
    const bool inside = row.time >= request.begin && row.time < request.end;
    if (inside) rows.push_back({row.time, row.status, row.value});
  }
  const Grid grid{request.first, head_.every};
  return look_at(grid, head_.seed, point, names_.full_point(point), std::move(rows), examples);
}

void Servant::read_history(const Request &request, Reply &reply) {
  Ids some;
  std::vector<int64_t> points;
  for (const Span &part : request.points.parts()) {
    auto at = std::lower_bound(points_.begin(), points_.end(), part.first);
    for (; at != points_.end() && *at <= part.last; ++at) {
      points.push_back(*at);
      some.push_back(ids_[static_cast<size_t>(at - points_.begin())]);
    }
  }
  if (some.empty()) return;
  const History history = session_->history(some, static_cast<int32_t>(request.begin),
                                            static_cast<int32_t>(request.end));
  for (size_t i = 0; i < some.size(); ++i) {
    if (history.errors[i] != 0) {
      reply.points.add(points[i]);
      continue;
    }
    const Shown shown = rows_of(history, i, points[i], request, reply.observation.examples);
    reply.observation.add(points[i], shown);
  }
}

void Servant::remove_points(int64_t node) {
  const Span points = names_.points_of(node);
  Objects children = session_->children(names_.full_node(node));
  std::vector<std::string> mine;
  for (int64_t point = points.first; point <= points.last; ++point) {
    mine.push_back(names_.point(point));
  }
  std::sort(mine.begin(), mine.end());
  std::vector<ObjectHandle> some;
  for (size_t i = 0; i < children.size(); ++i) {
    const std::string name = get_text(children[i], KELP2_FIELD_NAME);
    const bool known = std::binary_search(mine.begin(), mine.end(), name);
    if (known) some.push_back(children[i].handle);
  }
  apply(Delete, names_.full_node(node), some);
}

// Points that somebody else put under a node stay, and the node with them.
void Servant::remove() {
  const std::vector<std::string> found = marks();
  for (int64_t node = 0; node < names_.nodes(); ++node) {
    if (seed_of_mark(found[static_cast<size_t>(node)]) != head_.seed) continue;
    remove_points(node);
    Objects itself = session_->objects(Names{names_.full_node(node)});
    apply(Delete, head_.server.database, {itself[0].handle});
  }
  points_.clear();
  ids_.clear();
}

std::unique_ptr<Worker> make_servant(const ServerOptions &server, const JournalHead &head) {
  return std::make_unique<Worker>([server, head](CallBoard &board) -> Worker::Serve {
    const auto servant = std::make_shared<Servant>(server, head, board);
    return [servant](const std::string &request) {
      return to_json(servant->answer(parse_request(request)));
    };
  });
}

}  // namespace kelpcheck::watch
