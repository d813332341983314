#include "watch/recorder.h"

namespace kelpcheck::watch {

bool Recorder::record(const JournalLine &line) {
  story_.take(line);
  return written(journal_.append(to_json(line)));
}

bool Recorder::record(const JournalHead &head) { return written(journal_.append(to_json(head))); }

bool Recorder::written(bool done) {
  if (done != failing_) return done;
  failing_ = !done;
  const std::string words = done ? "the journal can be written again"
                                 : "the journal cannot be written: " + journal_.problem() +
                                       "; there are no steps until it can";
  tell_({story_.latest(), words});
  return done;
}

}  // namespace kelpcheck::watch
