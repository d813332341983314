// A session with the server, and all operations that go through one. If the server refuses a call
// because of its number of rows or names, the session finds the largest number that it takes, by
// halving, and stays within it from then on.
#pragma once

#include "probe/handles.h"

namespace kelpcheck {

struct NoSession : CallFailed {
  NoSession() : CallFailed("kelp2_init gave no session") {}
};

struct Modified {
  int32_t count;  // as the library gave it
  Out<int32_t> errors;
};

class Session {
 public:
  // Throws NoSession.
  explicit Session(Context &c);
  ~Session();
  Session(const Session &) = delete;
  Session &operator=(const Session &) = delete;

  ConnectionHandle handle() const { return handle_; }
  int32_t status() const { return c_.calls.call<kelp2_status>(0, handle_); }
  int32_t time() const;

  ObjectHandle new_object(const std::string &name, int32_t kind) const;  // throws on null
  Objects databases() const;
  Objects children(const std::string &node) const;
  Objects objects(const Who &points) const;
  Ids ids(const Group &group) const;
  Ids ids(const Names &names) const;
  Modified modify(ModifyOperation operation, const std::string &parent, Objects &objects) const;
  Modified modify(ModifyOperation operation, const std::string &parent, size_t count,
                  ObjectHandle *objects) const;

  // Writes give an entry per row, or a single one where all rows are of one point.
  Out<int32_t> write_value(const Ids &ids, int32_t time, const Columns &rows) const;
  Out<int32_t> write_history(int32_t id, const Columns &rows) const;
  Out<int32_t> write_history(const std::string &name, const Columns &rows) const;
  Out<int32_t> write_cache(const Ids &ids, const Columns &rows) const;
  Out<int32_t> write_cache_one(int32_t id, const Columns &rows) const;
  Out<int32_t> write_snap(const Ids &ids, int32_t time, const Columns &rows) const;

  Readings values(const Who &points) const;
  Readings snap(const Who &points, int32_t time) const;
  History history(const Who &points, const std::vector<int32_t> &modes, int32_t begin, int32_t end,
                  int32_t interval) const;
  History history(const Who &points, int32_t begin, int32_t end) const;

 private:
  // What is called must tell whether the server took that many from `first` on; a failed call did
  // not.
  template <typename Call>
  void in_pieces(int64_t Limits::*limit, size_t count, int64_t surely, Call call) const;
  template <auto ById, auto ByName, typename Arguments>
  void ask(const Who &points, Arguments arguments) const;
  template <auto Function, typename Time>
  Out<int32_t> write(const Ids &ids, Time time, const Columns &rows) const;
  template <auto Function, typename Point>
  Out<int32_t> write_one(Point point, const Columns &rows) const;
  template <typename... Outs>
  void guard(Op operation, const Outs &...outs) const;

  Context &c_;
  ConnectionHandle handle_;
};

}  // namespace kelpcheck
