#include "probe/fields.h"

namespace kelpcheck {

Fields fields_of(size_t number, int32_t version) {
  const auto n = static_cast<int32_t>(number) * 3 + version * 1'000'003;
  return {text("object ", number, ", version ", version), n + 1, -n - 70'000, n + 2 * 65'536,
          -n - 0.1};
}

namespace {

// What these fields mean is the server's; an object need not have them.
template <typename Value>
void set_taken(Object object, const char *field, Value value) {
  try {
    set(object, field, value);
  } catch (const CallFailed &) {
    return;
  }
}

}  // namespace

void set_if_taken(Object object, const char *field, int32_t value) {
  set_taken(object, field, value);
}

void set_if_taken(Object object, const char *field, double value) {
  set_taken(object, field, value);
}

void set_fields(Object object, const Fields &f, bool node) {
  set(object, KELP2_FIELD_DESCRIPTION, f.ed);
  set_if_taken(object, KELP2_FIELD_IV, f.iv);
  if (node) set_if_taken(object, KELP2_FIELD_FQ, f.fq);
  if (node) set_if_taken(object, KELP2_FIELD_AR, f.ar);
  if (!node) set_if_taken(object, KELP2_FIELD_HW, f.hw);
}

std::string own_name(const std::string &full_name) {
  return full_name.substr(full_name.rfind('.') + 1);
}

}  // namespace kelpcheck
