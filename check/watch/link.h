// A servant of the watch and its session, kept alive: started anew when a call hangs or ends the
// process, connected again with pauses that double when the session is lost. It is asked for one
// thing at a time, and never keeps anybody waiting.
#pragma once

#include "watch/servant.h"

namespace kelpcheck::watch {

class Link {
 public:
  // What came back: a reply of the servant's, or how its process ended.
  struct Event {
    Request request;
    Reply reply;
    std::string end;  // "hung", or how it ended: "crashed in kelp2_write_value: Aborted"
    std::string said;
  };

  Link(const ServerOptions &server, const JournalHead &head);

  // The time of step 0, once the tree stands: sessions made from then on look their points up.
  void set_first(int64_t first) { first_ = first; }
  bool connected() const { return connected_; }
  bool busy() const { return asked_.has_value(); }
  bool ready() const { return connected_ && !busy(); }
  // Only while it is ready.
  void ask(Request request);
  // The session is given up, and made again at once.
  void reconnect();
  // Acknowledged work: pauses begin anew.
  void reset_pause() { pause_ = kShortestPause; }

  // Takes what has come, and connects where it is time for that. At most one event a call.
  std::optional<Event> work();
  // now_ns() when work() is due without anything to be read; INT64_MAX for never.
  int64_t due() const;
  std::vector<int> descriptors() const;

 private:
  static constexpr double kShortestPause = 0.2, kLongestPause = 5;
  void start();
  void schedule();

  ServerOptions server_;
  JournalHead head_;
  int64_t first_ = 0;
  std::unique_ptr<Worker> worker_;
  std::optional<Request> asked_;
  bool connected_ = false;
  double pause_ = kShortestPause;
  int64_t connect_at_ = 0;  // now_ns()
};

}  // namespace kelpcheck::watch
