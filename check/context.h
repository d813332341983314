// The child's side of a check: its options, the evidence that it gathers, and the way to the
// supervisor, to which everything goes as one line of JSON per record.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "evidence.h"
#include "operations.h"
#include "options.h"

namespace kelpcheck {

class Context {
 public:
  Context(const Options &options_, int descriptor) : options(options_), descriptor_(descriptor) {}

  const Options &options;
  Evidence evidence;  // of the check that runs

  void send(const nlohmann::json &record) const;
  // Something that servers may do differently, for the table "This server".
  void finding(const std::string &question, const std::string &answer) const;
  void plot(const Plot &plot) const;
  void connected() const;
  void progress(int64_t done, int64_t total) const {
    blackboard->done.store(done, std::memory_order_relaxed);
    blackboard->total.store(total, std::memory_order_relaxed);
  }

 private:
  int descriptor_;
};

}  // namespace kelpcheck
