#include "family_runner.h"

#include <optional>

#include "probe/bed.h"
#include "probe/prefix.h"
#include "result/evidence_json.h"

namespace kelpcheck {

namespace {

// How one step ended: well, if both are empty.
struct Outcome {
  std::string reason;     // what ended it early
  const char *kind = "";  // "unknown", "moot" or "refused" where that is no failure
};

template <typename Step>
Outcome attempt(Step &&step) {
  try {
    step();
    return {};
  } catch (const Unknown &question) {
    return {question.what(), "unknown"};
  } catch (const Moot &why) {
    return {why.what(), "moot"};
  } catch (const Refused &why) {
    return {why.what(), "refused"};
  } catch (const std::exception &error) {
    return {error.what()};
  }
}

void make_bed(std::optional<Bed> &bed, CheckContext &c, Tree tree, int32_t first_node) {
  try {
    bed.emplace(c, tree, first_node);
  } catch (const NoSession &) {
    c.send({{"no_session", true}});
    throw;
  }
}

}  // namespace

// Making the tree belongs to the first check, closing the session to the last one: whatever a call
// does, there is a check to be charged with it.
void run_family(const Family &family, int32_t first_node, CheckContext &c) {
  std::optional<Bed> bed;
  for (size_t i = 0; i < family.checks.size(); ++i) {
    const Check &check = family.checks[i];
    c.evidence = {};
    c.progress(0, 0);
    c.send({{"begin", check.name}});
    const int64_t start = now_ns();
    Outcome outcome;
    if (!bed) outcome = attempt([&] { make_bed(bed, c, family.tree, first_node); });
    if (bed) outcome = attempt([&] { check.run(*bed); });
    const bool ends = !bed || i + 1 == family.checks.size();
    if (ends) bed.reset();
    c.send({{"end", check.name},
            {"evidence", c.evidence},
            {"reason", outcome.reason},
            {"kind", outcome.kind},
            {"seconds", seconds_since(start)}});
    if (ends) break;
  }
  c.send({{"limits", {c.limits.rows, c.limits.names, c.limits.objects}}});
  c.send({{"complete", true}});
}

void remove_nodes(int32_t first, int32_t last, CheckContext &c) {
  const Session session(c);
  const Prefix prefix(c, session);
  Names nodes;
  for (int32_t number = first; number <= last; ++number) nodes.push_back(prefix.full_name(number));
  prefix.remove(nodes, [](size_t, size_t) {});
}

}  // namespace kelpcheck
