// Static fields of nodes and points.
#include <cfloat>
#include <cmath>

#include "contract.h"

namespace kelptest {

namespace {

struct Fields {
  std::string description;
  int32_t fq, ar, hw;
  double iv;
};

const Fields kCases[] = {
    {"it's \"quoted\"; -- \\n %s $1 ?", 0, -1, INT32_MIN, -0.0},
    {"", -1, INT32_MIN, INT32_MAX, 0.1},
    {"\u6d77\u85fb \U0001f33f", INT32_MIN, INT32_MAX, 0, DBL_MAX},
    {std::string(100'000, 'x'), INT32_MAX, 0, -1, DBL_TRUE_MIN},
    {"plus infinity", 1, 2, 3, HUGE_VAL},
    {"minus infinity", 4, 5, 6, -HUGE_VAL},
    {"not a number", 7, 8, 9, NAN},
};

void set(const Object &object, const Fields &fields) {
  kelp2_object_set_string(object.get(), "ED", fields.description.c_str());
  kelp2_object_set_int(object.get(), "FQ", fields.fq);
  kelp2_object_set_int(object.get(), "AR", fields.ar);
  kelp2_object_set_int(object.get(), "HW", fields.hw);
  kelp2_object_set_double(object.get(), "IV", fields.iv);
}

void expect_fields(const Object &object, const Fields &fields) {
  EXPECT_EQ(text(object, "ED"), fields.description);
  EXPECT_EQ(kelp2_object_get_int(object.get(), "FQ"), fields.fq);
  EXPECT_EQ(kelp2_object_get_int(object.get(), "AR"), fields.ar);
  EXPECT_EQ(kelp2_object_get_int(object.get(), "HW"), fields.hw);
  const double iv = kelp2_object_get_double(object.get(), "IV");
  EXPECT_EQ((Row{0, 0, iv}), (Row{0, 0, fields.iv}));
}

}  // namespace

TEST_P(Contract, FieldsOfInsertedAndUpdatedObjectsComeBack) {
  connection_.make_points(1);
  for (const Fields &fields : kCases) {
    SCOPED_TRACE(fields.description);
    const Object node = connection_.new_object("M", KindNode);
    set(node, fields);
    EXPECT_EQ(connection_.modify(Insert, "W3", {node.get()}), Codes{0});
    expect_fields(connection_.object("W3.M"), fields);
    EXPECT_EQ(connection_.modify(Delete, "W3", {node.get()}), Codes{0});

    const Object point = connection_.object("W3.N.P0");
    set(point, fields);
    EXPECT_EQ(connection_.modify(Update, "W3.N", {point.get()}), Codes{0});
    expect_fields(connection_.object("W3.N.P0"), fields);
  }
}

TEST_P(Contract, AnUpdateSendsOnlyWhatWasChangedSinceTheLast) {
  connection_.make_points(1);
  const Object mine = connection_.object("W3.N.P0");
  const Object theirs = connection_.object("W3.N.P0");
  kelp2_object_set_string(mine.get(), "ED", "mine");
  kelp2_object_set_int(theirs.get(), "HW", 7);
  EXPECT_EQ(connection_.modify(Update, "W3.N", {mine.get(), theirs.get()}), Codes(2, 0));
  kelp2_object_set_string(theirs.get(), "ED", "theirs");
  kelp2_object_set_int(mine.get(), "AR", 5);
  EXPECT_EQ(connection_.modify(Update, "W3.N", {theirs.get(), mine.get()}), Codes(2, 0));
  expect_fields(connection_.object("W3.N.P0"), {"theirs", 0, 5, 7, 0.0});
}

TEST_P(Contract, TextIsCutToTheBuffer) {
  const Object object = connection_.new_object("N", KindNode);
  kelp2_object_set_string(object.get(), "ED", "theirs");
  char buffer[] = "########";
  EXPECT_EQ(kelp2_object_get_string(object.get(), "ED", buffer, 4), 0);
  EXPECT_EQ(std::string(buffer, 8), std::string("the\0####", 8));
}

}  // namespace kelptest
