// What servers do differently: found out and reported, not judged. A check here fails only where an
// answer makes no sense, or the session does not survive the question.
#include <cmath>

#include "checks/expect.h"

namespace kelpcheck {

namespace {

// The answer of a question, or that the library refused.
template <typename Ask>
void find_out(Bed &bed, const std::string &question, Ask &&ask) {
  std::string answer;
  try {
    answer = ask();
  } catch (const CallFailed &failure) {
    answer = text("refused: ", failure.what());
  }
  bed.c.finding(question, answer);
  bed.c.evidence.equal(0, bed.session->status(), [&] { return "status after: " + question; });
}

// Writes one value into a point's history and reads it back.
std::string keeps(Bed &bed, size_t point, int32_t time, double value) {
  Columns row;
  row.add({time, -5, value});
  const Out<int32_t> error = bed.session->write_history(bed.ids[point], row);
  if (error[0] != 0) return text("refused: entry ", error[0]);
  const History history = bed.session->history(Ids{bed.ids[point]}, time, time + 1);
  if (history.rows(0) != 1) return text("taken, and read back as ", history.rows(0), " rows");
  const Sample have = history.next(0);
  const bool same = std::bit_cast<uint64_t>(have.value) == std::bit_cast<uint64_t>(value) ||
                    (std::isnan(have.value) && std::isnan(value));
  return same ? "kept" : "read back as " + show(have.value);
}

void numbers(Bed &bed) {
  const Window window(bed, 0, 1);
  const std::pair<const char *, double> cases[] = {
      {"NaN", std::nan("")}, {"Infinity", HUGE_VAL}, {"-0.0", -0.0}};
  int32_t time = window.begin;
  for (const auto &[name, value] : cases) {
    find_out(bed, text(name, " in a point of kind R8"),
             [&] { return keeps(bed, 0, time++, value); });
  }
  if (bed.points() < 2) return;
  find_out(bed, "0.1, which 32 bits cannot hold, in AX", [&] {
    const std::string answer = keeps(bed, 1, time, 0.1);
    return answer == "read back as " + show(double{0.1F}) ? "rounded to 32 bits" : answer;
  });
}

std::string which(const Sample &have, const Sample &old, const Sample &fresh) {
  const auto is = [&](const Sample &s) { return have.status == s.status && have.value == s.value; };
  return is(fresh) ? "fresh" : is(old) ? "old" : "neither";
}

void ways(Bed &bed) {
  const Window old(bed, 1, 1), fresh(bed, 2, 1);
  Evidence &e = bed.c.evidence;
  const std::vector<size_t> one{0};
  const int32_t now = bed.session->time() - 100;
  const Ids id{bed.ids[0]};
  find_out(bed, "A point that has never been written to", [&] {
    const Readings r = bed.session->values(id);
    return r.errors[0] != 0 ? "has no current value" : "has the current value " + show(r.values[0]);
  });
  bed.session->write_value(id, now, old.across(one, 0));
  find_out(bed, "A current value older than the one before it", [&]() -> std::string {
    bed.session->write_value(id, now - 10, fresh.across(one, 0));
    const Readings r = bed.session->values(id);
    const std::string found = which(r[0], old.at(0, 0), fresh.at(0, 0));
    e.that(
        found != "neither" && r.times[0] == (found == "old" ? now : now - 10),
        [] { return "current value"; }, "one of the two that were written", "a mix");
    return found == "old" ? "is ignored" : "replaces it";
  });
  find_out(bed, "A current value", [&] {
    const History history = bed.session->history(id, now, now + 1);
    return history.rows(0) > 0 ? "is in the history too" : "is not in the history";
  });
  find_out(bed, "A value written to history", [&] {
    Columns row;
    row.add({now + 5, 9, 0.5});
    bed.session->write_history(id[0], row);
    return bed.session->values(id).times[0] == now + 5 ? "is the current one if it is the newest"
                                                       : "leaves the current one alone";
  });
}

void snapshots(Bed &bed) {
  const Window first(bed, 3, 1), second(bed, 4, 1);
  const int32_t begin = first.begin, end = begin + 100;
  const Ids id{bed.ids[0]};
  bed.session->write_snap(id, begin, first.across({0}, 0));
  bed.session->write_snap(id, end, second.across({0}, 0));
  find_out(bed, "A snapshot read between two", [&]() -> std::string {
    const Readings r = bed.session->snap(id, begin + 50);
    if (r.errors[0] != 0) return "has no value";
    const std::string found = which(r[0], first.at(0, 0), second.at(0, 0));
    return found == "old"     ? "has the earlier value"
           : found == "fresh" ? "has the later value"
                              : "has " + show(r.values[0]);
  });
  find_out(bed, "A snapshot read before the first value", [&] {
    const Readings r = bed.session->snap(id, begin - 1'000'000);
    return r.errors[0] != 0 ? "has no value" : "has " + show(r.values[0]);
  });
  find_out(bed, "A snapshot", [&] {
    return bed.session->history(id, begin, begin + 1).rows(0) > 0 ? "is in the history too"
                                                                  : "is not in the history";
  });
}

void tree(Bed &bed) {
  find_out(bed, "The id of an unknown name",
           [&] { return text(bed.session->ids({bed.names[0] + "NONE"})[0]); });
  const std::string &node = bed.node_of(0);
  find_out(bed, "A text of 10,000 characters", [&] {
    const std::string longest(10'000, 'x');
    Objects objects = bed.session->objects(Names{bed.names[0]});
    set(objects[0], KELP2_FIELD_DESCRIPTION, longest);
    if (bed.session->modify(Update, bed.full(node), objects).count != 1)
      return std::string("is refused");
    const Objects read = bed.session->objects(Names{bed.names[0]});
    const size_t length = get_text(read[0], "ED", longest.size() + 1).size();
    return length == longest.size() ? "is kept" : text("is cut to ", length);
  });
  find_out(bed, "Deleting a node that has points", [&] {
    Objects objects = bed.session->objects(Names{bed.full(node)});
    const Modified done = bed.session->modify(Delete, bed.c.server.database, objects);
    const bool there = bed.session->objects(Names{bed.names[0]}).errors[0] == 0;
    bed.c.evidence.that((done.count == 1) != there, [] { return "points of a deleted node"; },
                        done.count == 1 ? "gone" : "still there", there ? "there" : "gone");
    return there ? "is refused" : "deletes them too";
  });
}

}  // namespace

Family server_family() {
  return {"server",
          Tree::made,
          {{"server.numbers", "Unusual numbers do no harm.", numbers},
           {"server.ways", "Current values and history agree, however they are related.", ways},
           {"server.snapshots", "Snapshots between and before values do no harm.", snapshots},
           {"server.tree", "Long texts and nodes with points do no harm.", tree}}};
}

}  // namespace kelpcheck
