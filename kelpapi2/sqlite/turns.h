// Lets programs that write to one store take turns. SQLite's lock goes to whoever asks at the right
// moment, which is always the one that has just given it back: a program that waits for it says so
// here, and the one that gives it back looks here and pauses.
#pragma once

#include <string>

namespace kelp::sqlite {

class Turns {
 public:
  explicit Turns(const std::string &store);
  ~Turns();
  Turns(const Turns &) = delete;
  Turns &operator=(const Turns &) = delete;

  void begin_waiting();
  void end_waiting();
  // Gives those who wait the time to take the lock.
  void let_others();

 private:
  int folder_;
  bool waiting_ = false;
};

}  // namespace kelp::sqlite
