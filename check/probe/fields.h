// Static fields of nodes and points: those that the tree is made with, and later versions of them.
#pragma once

#include "probe/handles.h"

namespace kelpcheck {

struct Fields {
  std::string ed;
  int32_t fq, ar, hw;
  double iv;
};

// Those of an object of the run, by its number and version; all differ.
Fields fields_of(size_t number, int32_t version);
// Sets those that both kinds of objects have, and those that nodes or points have.
void set_fields(Object object, const Fields &fields, bool node);
// Sets FQ, AR, IV or HW if the server has it and takes the value.
void set_if_taken(Object object, const char *field, int32_t value);
void set_if_taken(Object object, const char *field, double value);
// The part of a full name behind its last full stop.
std::string own_name(const std::string &full_name);

}  // namespace kelpcheck
