// Reads back what a watch wrote, in a process and a session of its own, and sorts it.
#pragma once

#include "process/signals.h"
#include "watch/link.h"
#include "watch/screen.h"
#include "watch/slices.h"
#include "watch/sorting.h"

namespace kelpcheck::watch {

struct VerifyTask {
  ServerOptions server;
  JournalHead head;
  Grid grid;
  Span steps;          // that are judged
  Ranges points;       // that are judged
  bool behind = true;  // whether rows behind the last step are judged too
  double settle = 5;
  bool at_once = false;  // ends where the first session is refused
};

class Verification {
 public:
  Verification(const VerifyTask &task, const Steps &steps, Screen &screen, Signals &signals);

  // To the end, or to what keeps it from that.
  void run();
  // Removes the tree, which is this watch's. Why it could not be done; empty if it was.
  std::string remove();

  // Whether everything was read to its end, and otherwise why not.
  bool complete() const { return obstacle_.empty(); }
  const std::string &obstacle() const { return obstacle_; }
  bool ever_connected() const { return ever_connected_; }
  int interrupted() const { return interrupted_; }
  TreeState tree() const { return tree_; }
  const Ranges &missing_points() const { return missing_; }
  const Samples &samples() const { return samples_; }
  const Patches &lost() const { return lost_; }
  const Patches &changed() const { return changed_; }
  const std::vector<Oddity> &oddities() const { return oddities_; }
  const std::vector<std::string> &remarks() const { return remarks_; }
  int64_t rows() const { return rows_; }  // that the server gave
  double seconds() const { return seconds_; }

 private:
  std::optional<Reply> ask(const Request &request);
  bool look();
  void read_all();
  void read_again();
  bool read(Slice slice, bool last_time);
  bool refused(const Slice &slice, const std::string &code);
  void count(const Slice &slice, const Reply &reply, const Sorted &sorted);
  bool pause(double seconds);
  void progress();

  VerifyTask task_;
  const Steps &steps_;
  Screen &screen_;
  Signals &signals_;
  Link link_;
  std::optional<Slices> slices_;
  std::deque<Slice> again_;

  int64_t began_ = 0, last_answer_ = 0;
  std::string obstacle_;
  std::string last_code_;
  bool ever_connected_ = false;
  int interrupted_ = 0;
  TreeState tree_ = TreeState::missing;
  Ranges missing_;
  Samples samples_;
  Patches lost_, changed_;
  std::vector<Oddity> oddities_;
  std::vector<std::string> remarks_;
  int64_t rows_ = 0;
  double seconds_ = 0;
};

}  // namespace kelpcheck::watch
