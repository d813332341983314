// Which values the fields keep whose meaning is the server's.
#include <algorithm>

#include "checks/learn.h"

namespace kelpcheck {

namespace {

struct FieldCase {
  const char *code;
  bool real;
  Question of_node, of_point;
};

const FieldCase kFieldCases[] = {{"FQ", false, Question::field_fq_node, Question::field_fq_point},
                                 {"AR", false, Question::field_ar_node, Question::field_ar_point},
                                 {"HW", false, Question::field_hw_node, Question::field_hw_point},
                                 {"IV", true, Question::field_iv_node, Question::field_iv_point}};

// Whether a field keeps a value, once a text of the same update is readable.
bool keeps(Bed &bed, const std::string &name, const std::string &parent, const FieldCase &field,
           double value) {
  const std::string mark = text(field.code, " is ", value);
  const std::string refusal = refusal_of([&] {
    Objects objects = bed.session->objects(Names{name});
    set(objects[0], KELP2_FIELD_DESCRIPTION, mark);
    if (field.real) set(objects[0], field.code, value);
    if (!field.real) set(objects[0], field.code, static_cast<int32_t>(value));
    if (bed.session->modify(Update, parent, objects).count != 1) throw CallFailed("not updated");
  });
  if (!refusal.empty()) return false;
  double have = 0;
  settle_equal(bed, [&](Evidence &e) {
    const Objects objects = bed.session->objects(Names{name});
    e.equal(mark, get_text(objects[0], KELP2_FIELD_DESCRIPTION), [&] { return "ED of " + name; });
    have =
        field.real ? get_double(objects[0], field.code) : double(get_int(objects[0], field.code));
  });
  return have == value;
}

}  // namespace

void learn_fields(Bed &bed) {
  const double small[] = {3, 5};
  const double wide[] = {70'001, -5, INT32_MAX, INT32_MIN, 0};
  const double wide_real[] = {-0.1, 1e300, -1e-300, 0};
  const std::string node = bed.full(bed.nodes[0]);
  for (const FieldCase &field : kFieldCases) {
    for (const bool of_node : {true, false}) {
      const std::string name = of_node ? node : bed.names[kFields];
      const std::string parent = of_node ? bed.c.server.database : node;
      const auto all_kept = [&](const auto &values) {
        return std::all_of(std::begin(values), std::end(values),
                           [&](double value) { return keeps(bed, name, parent, field, value); });
      };
      Answer answer = Answer::dropped;
      if (all_kept(small)) {
        const bool every = field.real ? all_kept(wide_real) : all_kept(wide);
        answer = every ? Answer::kept : Answer::narrow;
      }
      bed.c.read(of_node ? field.of_node : field.of_point, answer, text(field.code, " of ", name),
                 entry_of(field.of_node).text_of(answer));
    }
  }
}

}  // namespace kelpcheck
