// A watch from its journal to the last step: sets up the tree and both sessions, then keeps the
// writing and the reading side going until somebody ends it.
#pragma once

#include "process/signals.h"
#include "watch/options.h"
#include "watch/reader.h"
#include "watch/screen.h"
#include "watch/writer.h"

namespace kelpcheck::watch {

// It cannot begin: the exit status, and the line that says why.
struct CannotWatch : std::runtime_error {
  CannotWatch(int status_, const std::string &why) : std::runtime_error(why), status(status_) {}
  int status;
};

class Watcher {
 public:
  // `head` is the journal's, or that of the journal to be begun; `going_on` says which.
  Watcher(const WatchOptions &options, const JournalHead &head, bool going_on, Journal &journal,
          Story &story, Screen &screen, Signals &signals);

  // Until the end by --for, by a signal, or because values do not become history. Throws
  // CannotWatch.
  void run();
  // The second signal, which wants more than an end of the watch; 0 without one.
  int interrupted() const { return interrupted_; }
  const Grid &grid() const { return grid_; }

 private:
  Link::Event wait_for(Link &link, const Request &request);
  void connect(Link &link);
  void prepare_tree();
  void begin_grid();
  void go_on();
  void check_tree_of_journal();
  void watch();
  bool ends();
  void live();

  WatchOptions options_;
  JournalHead head_;
  bool going_on_;
  Journal &journal_;
  Story &story_;
  Screen &screen_;
  Signals &signals_;
  Recorder recorder_;
  Link writing_, reading_;
  Grid grid_;
  std::optional<TimeBase> base_;
  std::unique_ptr<WatchWriter> writer_;
  std::unique_ptr<WatchReader> reader_;
  int asked_to_end_ = 0, interrupted_ = 0;
  std::string why_ended_;
};

}  // namespace kelpcheck::watch
