// Every operation that takes a name or a text, with names and texts of every length and alphabet:
// what the server takes must be found under its name and no other, with every byte.
#include <algorithm>
#include <cctype>
#include <optional>

#include "checks/families.h"
#include "checks/ground.h"
#include "checks/near_names.h"

namespace kelpcheck {

namespace {

struct NameCase {
  std::string name;
  std::optional<Question> question;  // none where every server takes it
};

std::string of_length(size_t length) {
  std::string name;
  for (size_t i = 0; name.size() < length; ++i)
    name += static_cast<char>('A' + (i * 7 + length) % 26);
  return name;
}

std::vector<NameCase> name_cases() {
  std::vector<NameCase> cases;
  for (size_t length = 1; length <= 32; ++length) cases.push_back({of_length(length), {}});
  for (const size_t length : {33, 40, 48, 63, 64}) {
    cases.push_back({of_length(length), Question::names_64});
  }
  for (const size_t length : {65, 80, 100, 127, 128, 129, 199, 200}) {
    cases.push_back({of_length(length), Question::names_200});
  }
  for (const char *name : {"P1", "P10", "P100", "P01", "0", "00", "1E5", "NULL", "A-B"}) {
    cases.push_back({name, {}});
  }
  for (const char *name :
       {"M_A", "MXA", "M%A",  "M%",  "M_",  "MXXA", "M'A", "M\"A", "M\\A", "M;A",
        "M*A", "M?A", "M[A]", "M$A", "M#A", "M/A",  "M:A", "M,A",  "M+A",  "M(A)"}) {
    cases.push_back({name, Question::names_marks});
  }
  for (const char *name : {"B A", "B  A", "B A B"}) cases.push_back({name, Question::names_blank});
  for (const char *name :
       {"F\u00e4", "F\u00c4", "F\u00f6\u00fc\u00df", "F\u20ac", "F\u6d77\u85fb", "F\U0001f33f"}) {
    cases.push_back({name, Question::names_foreign});
  }
  return cases;
}

// A node of the check's own, with points of these names as far as the server takes them.
struct Named {
  std::string node;
  Names own, full;
  Ids ids;
};

// Whether the server takes the names is one answer for each kind of them, or a part.
void tell_names(Bed &bed, const std::vector<NameCase> &cases, const Modified &done) {
  for (const Question question : {Question::names_64, Question::names_200, Question::names_marks,
                                  Question::names_blank, Question::names_foreign}) {
    int64_t taken = 0, refused = 0;
    for (size_t i = 0; i < cases.size(); ++i) {
      if (cases[i].question != question) continue;
      if (done.errors[i] == 0) ++taken;
      if (done.errors[i] != 0) ++refused;
    }
    bed.c.read(question, taken_of(taken, refused), "inserting such points",
               text(taken, " taken, ", refused, " refused"));
  }
}

Named insert_names(Bed &bed) {
  Named named{bed.full(bed.nodes[0]), {}, {}, {}};
  const std::vector<NameCase> cases = name_cases();
  std::vector<NameCase> made;
  Objects objects(bed.c, 0);
  for (const NameCase &one : cases) {
    const std::string refusal =
        refusal_of([&] { objects.add(bed.session->new_object(one.name, R8)); });
    if (refusal.empty()) made.push_back(one);
    if (refusal.empty()) continue;
    bed.c.evidence.that(
        one.question.has_value(), [&] { return "a point named " + show(one.name); }, "taken",
        refusal);
    if (one.question)
      bed.c.read(*one.question, Answers{Answer::refused, Answer::some}, one.name, refusal);
  }
  const Modified done = bed.session->modify(Insert, named.node, objects);
  int32_t taken = 0;
  for (size_t i = 0; i < made.size(); ++i) {
    if (!made[i].question) {
      bed.c.evidence.equal(0, done.errors[i], [&] { return "insert of " + show(made[i].name); });
    }
    if (done.errors[i] != 0) continue;
    ++taken;
    named.own.push_back(made[i].name);
    named.full.push_back(named.node + "." + made[i].name);
  }
  bed.c.evidence.equal(taken, done.count, [] { return "number of points inserted"; });
  if (made.size() == cases.size()) tell_names(bed, made, done);
  return named;
}

void remove_names(Bed &bed, const Named &named) {
  Objects objects = bed.session->objects(named.full);
  bed.session->modify(Delete, named.node, objects);
}

Sample sample_of(size_t i, int32_t time) {
  return {time, static_cast<int16_t>(i), static_cast<double>(i) + 0.5};
}

// Every name has its own object, id, current value, snapshot and history.
void names(Bed &bed) {
  Named named = insert_names(bed);
  if (named.full.empty()) return;
  const int32_t now = bed.session->time() - 100, past = bed.c.begin;
  settle_equal(bed, [&](Evidence &e) {
    const Objects objects = bed.session->objects(named.full);
    for (size_t i = 0; i < named.full.size(); ++i) {
      e.equal(0, objects.errors[i], [&] { return "look-up of " + show(named.own[i]); });
      if (objects.errors[i] != 0) continue;
      e.equal(named.own[i], get_text(objects[i], "PN"), [] { return "PN"; });
    }
  });
  named.ids = bed.session->ids(named.full);
  Ids sorted = named.ids;
  std::sort(sorted.begin(), sorted.end());
  bed.c.evidence.that(
      std::adjacent_find(sorted.begin(), sorted.end()) == sorted.end(),
      [] { return "ids of points of different names"; }, "all different", "one twice");
  Columns current;
  for (size_t i = 0; i < named.full.size(); ++i) {
    const Sample row = sample_of(i, past);
    Columns rows;
    rows.add(row);
    current.add(row);
    const Out<int32_t> error = bed.session->write_history(named.full[i], rows);
    bed.c.evidence.equal(0, error[0], [&] { return "writing to " + show(named.own[i]); });
  }
  bed.session->write_value(named.ids, now, current);
  for (const Who &who : {Who(named.full), Who(named.ids)}) {
    settle_equal(bed, [&](Evidence &e) {
      const Readings values = bed.session->values(who);
      const History history = bed.session->history(who, past - 1, past + 1);
      for (size_t i = 0; i < named.full.size(); ++i) {
        const auto where = [&] { return "value of " + show(named.own[i]); };
        e.equal(sample_of(i, 0).value, values.values[i], where);
        const std::vector<Sample> rows = rows_of(history, i);
        e.equal(int64_t{1}, int64_t(rows.size()), [&] { return "rows of " + show(named.own[i]); });
        if (rows.size() == 1) e.equal(sample_of(i, 0).value, rows[0].value, where);
      }
    });
  }
  remove_names(bed, named);
}

// A name is looked up when it is asked for, not when it is added to a group, nor as it was before.
void made_later(Bed &bed) {
  const std::string node = bed.full(bed.nodes[0]), name = node + ".LATER";
  const Names asked{bed.names[0], name};
  const Group group(bed.c, asked);
  const auto second = bed.another_session();
  const Session &other = second ? *second : *bed.session;
  const Session *const both[] = {bed.session.get(), &other};
  for (const Session *session : both) {
    refusal_of([&] { session->ids(group); });
    const Objects none = session->objects(asked);
    bed.c.evidence.that(
        none.errors[1] != 0, [&] { return name + " before it is made"; }, "an entry other than 0",
        "0");
  }
  for (int round = 0; round < 2; ++round) {
    const int32_t id = bed.add_point(bed.nodes[0], "LATER", round == 0 ? R8 : I4);
    settle_equal(bed, [&](Evidence &e) {
      e.equal(id, bed.session->ids(group)[1], [&] { return "id of " + name; });
      e.equal(id, other.ids(group)[1], [&] { return "id of " + name + " in another session"; });
      e.equal(0, other.objects(Ids{id}).errors[0], [&] { return name + " by its id"; });
    });
    Objects made = other.objects(Names{name});
    other.modify(Delete, node, made);
    settle_equal(bed, [&](Evidence &e) {
      e.that(
          bed.session->objects(asked).errors[1] != 0, [&] { return name + ", deleted"; },
          "an entry other than 0", "0");
    });
  }
}

std::vector<std::string> texts() {
  std::vector<std::string> all;
  for (size_t length = 0; length <= 40; ++length) all.push_back(of_length(length));
  for (const size_t length :
       {63, 64, 65, 127, 128, 129, 254, 255, 256, 257, 511, 512, 1000, 1024}) {
    all.push_back(of_length(length));
  }
  for (const char *marks :
       {" ",    "  two ", "'",  "''",   "\"",   "\\",   "\\n",  "%s%d", "_", ";--", "<&>",
        "{}[]", "0",      "-1", "NULL", "null", "a\tb", "a\nb", "#",    "@", "~`^|"}) {
    all.push_back(marks);
  }
  return all;
}

bool keeps_text(Bed &bed, const std::string &value) {
  const std::string refusal = refusal_of([&] {
    Objects objects = bed.session->objects(Names{bed.names[0]});
    set(objects[0], "ED", value);
    if (bed.session->modify(Update, bed.full(bed.nodes[0]), objects).count != 1) {
      throw CallFailed("not updated");
    }
  });
  if (!refusal.empty()) return false;
  settle_equal(bed, [&](Evidence &e) {
    const Objects read = bed.session->objects(Names{bed.names[0]});
    e.equal(value, get_text(read[0], "ED", value.size() + 10), [] { return "ED"; });
  });
  return true;
}

// Short, of letters and digits: no server refuses it.
bool is_plain(const std::string &value) {
  constexpr size_t longest = 64;
  const auto is_alphanumeric = [](unsigned char c) { return std::isalnum(c) != 0; };
  return value.size() <= longest && std::all_of(value.begin(), value.end(), is_alphanumeric);
}

// Many points a call, each with a text of its own; and texts that a server may refuse.
void texts_kept(Bed &bed) {
  const std::vector<std::string> all = texts();
  const std::string node = bed.full(bed.nodes[0]);
  for (size_t first = 0; first < all.size(); first += bed.points()) {
    const size_t count = std::min(bed.points(), all.size() - first);
    const Names some(bed.names.begin(), bed.names.begin() + static_cast<ptrdiff_t>(count));
    Objects objects = bed.session->objects(some);
    std::vector<bool> taken(count, true);
    for (size_t i = 0; i < count; ++i) {
      const std::string &value = all[first + i];
      const std::string refusal = refusal_of([&] { set(objects[i], "ED", value); });
      taken[i] = refusal.empty();
      if (!is_plain(value)) continue;
      bed.c.evidence.equal(std::string(), refusal, [&] { return "ED " + show(value); });
    }
    const Modified done = bed.session->modify(Update, node, objects);
    for (size_t i = 0; i < count; ++i) {
      taken[i] = taken[i] && done.errors[i] == 0;
      if (!is_plain(all[first + i])) continue;
      bed.c.evidence.equal(0, done.errors[i], [&] { return "ED " + show(all[first + i]); });
    }
    settle_equal(bed, [&](Evidence &e) {
      const Objects read = bed.session->objects(some);
      for (size_t i = 0; i < count; ++i) {
        if (taken[i])
          e.equal(all[first + i], get_text(read[i], "ED"), [&] { return "ED of " + some[i]; });
      }
    });
  }
  const auto answer = [&](bool kept) { return kept ? Answer::taken : Answer::refused; };
  for (const char *foreign : {"\u00e4\u00f6\u00fc", "\u6d77\u85fb", "\U0001f33f \u20ac"}) {
    bed.c.read(Question::texts_foreign, answer(keeps_text(bed, foreign)), "ED", foreign);
  }
  bed.c.read(Question::texts_long, answer(keeps_text(bed, of_length(10'000))), "ED",
             "10,000 bytes");
}

// A new object is empty; an object whose entry failed can be handed to everything.
void objects(Bed &bed) {
  Evidence &e = bed.c.evidence;
  Objects made(bed.c, 0);
  for (const int32_t kind : {int32_t{KindNode}, int32_t{R8}, int32_t{DX}}) {
    made.add(bed.session->new_object("NEW", kind));
    const Object object = made[made.size() - 1];
    e.equal(std::string("NEW"), get_text(object, "PN"), [] { return "PN of a new object"; });
    e.equal(std::string(), get_text(object, "ED"), [] { return "ED of a new object"; });
    for (const char *field : {"FQ", "AR", "HW"}) {
      e.equal(0, get_int(object, field), [&] { return text(field, " of a new object"); });
    }
    e.equal(0.0, get_double(object, "IV"), [] { return "IV of a new object"; });
    e.equal(0, get_int(object, "XX"), [] { return "a field that no object has"; });
    e.equal(0.0, get_double(object, "XX"), [] { return "a field that no object has"; });
  }
  const Objects two = bed.session->objects(Names{bed.names[0] + "NONE", bed.names[1]});
  e.that(
      two.errors[0] != 0, [] { return "an unknown point"; }, "an entry other than 0", "0");
  refusal_of([&] { get_text(two[0], "PN"); });
  get_int(two[0], "FQ");
  get_double(two[0], "IV");
  refusal_of([&] { set(two[0], "ED", std::string("x")); });
  e.equal(own_name(bed.names[1]), get_text(two[1], "PN"), [] { return "PN beside an unknown"; });
  // PN cannot be set: the point keeps its name.
  Objects one = bed.session->objects(Names{bed.names[2]});
  refusal_of([&] { set(one[0], "PN", std::string("RENAMED")); });
  refusal_of([&] { bed.session->modify(Update, bed.full(bed.nodes[0]), one); });
  settle_equal(bed, [&](Evidence &look) {
    const Objects read = bed.session->objects(Names{bed.names[2]});
    look.equal(0, read.errors[0], [] { return "a point whose PN was set"; });
    if (read.errors[0] != 0) return;
    look.equal(own_name(bed.names[2]), get_text(read[0], "PN"), [] { return "its PN"; });
  });
}

}  // namespace

Family sweep_names_family() {
  return {
      "sweep",
      Tree::few,
      {{"sweep.names",
        "Names of every length and alphabet that the server takes have ids, values and history of "
        "their own.",
        names},
       {"sweep.names.near",
        "A name that does not exist names nothing, however similar it is to one that does.",
        near_names},
       {"sweep.names.later",
        "A name is looked up when it is used: every session finds a point that was made later, and "
        "does not find a deleted one.",
        made_later},
       {"sweep.texts", "Texts of every length keep all their bytes, or are refused.", texts_kept},
       {"sweep.objects",
        "New objects are empty, failed ones do no harm, and a name cannot be changed.", objects}}};
}

}  // namespace kelpcheck
