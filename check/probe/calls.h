// The timed call that everything here goes through: it notes on the board which operation it calls,
// so that a call that hangs or ends the process is known by name, and what it measured.
#pragma once

#include <kelpapi2.h>

#include <stdexcept>

#include "process/call_board.h"
#include "result/clock.h"
#include "result/text.h"

namespace kelpcheck {

// kOpOf<kelp2_close> is Op::close.
template <auto Function>
inline constexpr Op kOpOf{};
#define X(name) \
  template <>   \
  inline constexpr Op kOpOf<kelp2_##name> = Op::name;
#include "result/operations.def"
#undef X

// A call that failed as a whole.
struct CallFailed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One process's calls, one at a time. The board outlives it.
class Calls {
 public:
  explicit Calls(CallBoard &board) : board_(&board) {}

  // Whatever the operation gives. `rows` is how many rows the call carries.
  template <auto Function, typename... Arguments>
  auto call(int64_t rows, Arguments... arguments) const {
    const Measured measured(board_, kOpOf<Function>, rows);
    return Function(arguments...);
  }
  // Several calls of one operation, which `work` makes, measured as one: for calls too short to be
  // measured one by one.
  template <auto Function, typename Work>
  auto measured_as_one(int64_t rows, Work &&work) const {
    const Measured measured(board_, kOpOf<Function>, rows);
    return work();
  }
  // Calls an operation that returns 0 on success; throws CallFailed where it does not.
  template <auto Function, typename... Arguments>
  void checked(int64_t rows, Arguments... arguments) const {
    const int32_t result = call<Function>(rows, arguments...);
    if (result == 0) return;
    count_failure(kOpOf<Function>);
    throw CallFailed(text(name_of(kOpOf<Function>), " gave ", result));
  }
  void count_failure(Op op) const { ++board_->figures[op].failures; }
  // Nanoseconds in the library so far.
  int64_t time_in_calls() const { return board_->figures.time_in_calls(); }
  // Rows of a call that only its result tells.
  void count_rows(Op op, int64_t rows) const { board_->figures[op].rows += rows; }

 private:
  class Measured {
   public:
    Measured(CallBoard *board, Op op, int64_t rows)
        : board_(board), op_(op), rows_(rows), start_(now_ns()) {
      board_->operation.store(static_cast<int32_t>(op), std::memory_order_relaxed);
      board_->started.store(start_, std::memory_order_release);
    }
    ~Measured() {
      board_->figures[op_].add(now_ns() - start_, rows_);
      board_->started.store(0, std::memory_order_release);
    }
    Measured(const Measured &) = delete;
    Measured &operator=(const Measured &) = delete;

   private:
    CallBoard *board_;
    Op op_;
    int64_t rows_, start_;
  };

  CallBoard *board_;
};

}  // namespace kelpcheck
