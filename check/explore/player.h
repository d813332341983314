// Plays sequences against the real library, beside the model, and stops at the first difference.
//
// It does no harm: a write by id uses the id that a look-up by name, just before, gave for a point
// that the sequence made, or one that it deleted itself and that kelp2_get_object_byid has just
// shown to be nobody's. Objects are changed and deleted only if they have the name that was meant.
#pragma once

#include <functional>
#include <memory>

#include "explore/model.h"
#include "probe/session.h"

namespace kelpcheck::explore {

struct Finding {
  size_t call;  // of the sequence, from 0
  Difference difference;
  std::string remark = {};  // what the library said of it, if anything
  bool waited = false;      // it was asked more than once
};

class Player {
 public:
  Player(Context &c, const Place &place, const Ground &ground);

  // `goes_on` is asked before each call, by its number.
  std::optional<Finding> play(const Sequence &sequence,
                              const std::function<bool(size_t)> &goes_on = {});
  // Removes the nodes of the place with all that is under them, whoever made them.
  void clear();

  int64_t compared() const { return compared_; }
  int64_t longest_wait() const { return longest_wait_; }  // nanoseconds

 private:
  // A call cannot be made: an id is not known, or is somebody's by now.
  struct NotPossible {};

  std::optional<Difference> perform(const Call &call);
  std::optional<Difference> read_until_settled(const Call &call, Answer &answer);
  std::optional<Difference> wait_for_ids(const Call &call);
  Answer make(const Call &call);
  void write(const Call &call, Answer &answer);
  void modify(const Call &call, Answer &answer);
  Objects new_objects(const Call &call);
  void set_fields(kelpcheck::Object object, const Entry &entry);
  Objects read_objects(const Call &call);
  void read_points(const Call &call, Answer &answer);
  void read_values(const Call &call, Answer &answer);
  void read_objects(const Call &call, Answer &answer);
  void read_history(const Call &call, Answer &answer);
  void fetch(const Call &call, const History &history, size_t result, Answer &answer);
  void read_other(const Call &call, Answer &answer);

  Session &session(int number);
  bool is_there(int session, const Who &who);
  Names names_of(const Call &call) const;
  Ids ids_of(const Call &call);
  int32_t id_of(const Call &call, const Target &who);
  Who who(const Call &call);
  // Of a point that has just been inserted.
  std::optional<Difference> learn_id(const Call &call, size_t entry);

  Context &c_;
  Place place_;
  Ground ground_;
  Model model_;
  std::unique_ptr<Session> sessions_[2];
  std::map<std::string, int32_t> ids_, former_;  // by full name
  std::string remark_;
  bool waited_ = false;
  int64_t compared_ = 0, longest_wait_ = 0;
};

}  // namespace kelpcheck::explore
