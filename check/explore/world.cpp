#include "explore/world.h"

namespace kelpcheck::explore {

ModelObject *World::find(const Target &target) {
  if (target.sort != Target::own) return nullptr;
  if (target.is_node()) return &nodes[target.node];
  const auto found = points[target.node].find(target.name);
  return found == points[target.node].end() ? nullptr : &found->second;
}

Life World::life(const Target &target) const {
  switch (target.sort) {
    case Target::own: {
      const ModelObject *object = find(target);
      return object == nullptr ? Life::absent : object->life;
    }
    case Target::former:
    case Target::elsewhere: return Life::absent;
    default: return Life::unsure;
  }
}

}  // namespace kelpcheck::explore
