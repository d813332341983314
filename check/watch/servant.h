// The child of a watch or a verification: the only part that calls the library. It only does what
// it is asked.
#pragma once

#include <memory>

#include "probe/session.h"
#include "process/worker.h"
#include "watch/journal_line.h"
#include "watch/names.h"
#include "watch/request.h"

namespace kelpcheck::watch {

class Servant {
 public:
  Servant(const ServerOptions &server, const JournalHead &head, CallBoard &board);

  Reply answer(const Request &request);

 private:
  Reply act(const Request &request);
  void connect(const Request &request, Reply &reply);
  void look(Reply &reply);
  void make();
  void mark(int64_t first);
  void write(const Request &request, Reply &reply);
  void read_current(const Request &request, Reply &reply);
  void read_history(const Request &request, Reply &reply);
  void remove();

  // Which points there are, and their ids.
  void look_up();
  void make_nodes();
  void make_points(int64_t node);
  void remove_points(int64_t node);
  void apply(ModifyOperation operation, const std::string &parent, std::vector<ObjectHandle> some);
  void prepare(int64_t step);
  Shown rows_of(const History &history, size_t result, int64_t point, const Request &request,
                std::vector<Oddity> &examples) const;
  Names node_names() const;
  std::vector<std::string> marks();  // of all nodes; empty texts for those that are not there
  std::vector<bool> points_under(int64_t node);
  template <typename Act>
  void in_parts(size_t count, size_t &limit, const Act &act);

  Context context_;
  JournalHead head_;
  WatchNames names_;
  std::unique_ptr<Session> session_;
  std::vector<int64_t> points_;  // that are there
  Ranges missing_;
  Ids ids_;  // of points_
  Columns prepared_;
  int64_t prepared_step_ = -1;
  // How much of each a call carries; less where the server refuses it.
  size_t names_per_call_ = 1000, objects_per_call_ = 1000, values_per_call_ = SIZE_MAX;
};

// A child that answers the requests of request.h.
std::unique_ptr<Worker> make_servant(const ServerOptions &server, const JournalHead &head);

}  // namespace kelpcheck::watch
