#include "probe/fields.h"

namespace kelpcheck {

Fields fields_of(size_t number, int32_t version) {
  const auto n = static_cast<int32_t>(number) * 3 + version * 1'000'003;
  return {text("object ", number, ", version ", version), n + 1, -n - 70'000, n + 2 * 65'536,
          -n - 0.1};
}

void set_fields(Object object, const Fields &f, bool node) {
  set(object, KELP2_FIELD_DESCRIPTION, f.ed);
  set(object, KELP2_FIELD_IV, f.iv);
  if (node) set(object, KELP2_FIELD_FQ, f.fq);
  if (node) set(object, KELP2_FIELD_AR, f.ar);
  if (!node) set(object, KELP2_FIELD_HW, f.hw);
}

std::string own_name(const std::string &full_name) {
  return full_name.substr(full_name.rfind('.') + 1);
}

}  // namespace kelpcheck
