#include "load/hand.h"

#include <sys/prctl.h>

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "load/read_back.h"
#include "probe/prefix.h"
#include "process/waiting.h"

namespace kelpcheck {

namespace {

constexpr int32_t kPointsPerNode = 1000;

// Of this process: nanoseconds on a processor, and of waiting for one (0 where the kernel does not
// say).
struct Share {
  int64_t on_processor = 0, waited = 0;

  static Share now() {
    Share share;
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    share.on_processor = int64_t{time.tv_sec} * kSecond + time.tv_nsec;
    std::FILE *file = std::fopen("/proc/self/schedstat", "re");
    if (file == nullptr) return share;
    long long ran = 0, waited = 0;
    if (std::fscanf(file, "%lld %lld", &ran, &waited) == 2) share.waited = waited;
    std::fclose(file);
    return share;
  }
};

}  // namespace

Hand::Hand(const LoadOptions &options, int32_t session, LoadBoard &board, LoadControl &control,
           CallBoard &calls)
    : options_(options),
      session_number_(session),
      work_(options),
      board_(board),
      stage_(board.stage),
      control_(control),
      context_(options.server, calls) {
  prctl(PR_SET_TIMERSLACK, 1);  // nanosecond, so that calls start when they are due
}

int32_t Hand::nodes_per_session(const LoadOptions &options) {
  return (options.points + kPointsPerNode - 1) / kPointsPerNode;
}

std::string Hand::serve(const std::string &request) {
  try {
    if (request == "stage") {
      run_stage();
      return "";
    }
    connect();
    if (request == "make") make();
    if (request == "read back") {
      const ReadBack read_back{options_, work_, session_number_, *session_, ids_, context_};
      return read_back.account(board_, control_);
    }
    return "";
  } catch (const CallFailed &failure) {
    return printable(failure.what());
  }
}

int32_t Hand::time_of(int64_t second) const {
  return static_cast<int32_t>(options_.begin + second);
}

std::string Hand::name_of_point(int32_t point) const {
  const int32_t node = session_number_ * nodes_per_session(options_) + point / kPointsPerNode + 1;
  return options_.server.database + "." + numbered(options_.server.prefix, 2, node) + "." +
         numbered("P", 5, point + 1);
}

// The names are looked up once: ids are for life.
void Hand::connect() {
  if (session_ && session_->status() == 0) return;
  session_.reset();
  session_ = std::make_unique<Session>(context_);
  if (board_.made && ids_.empty()) look_up();
}

void Hand::look_up() {
  Names names;
  for (int32_t point = 0; point < options_.points; ++point) {
    names.push_back(name_of_point(point));
  }
  ids_ = session_->ids(names);
  who_ = ids_;
}

void Hand::make() {
  for (int32_t first = 0, node = 0; first < options_.points; first += kPointsPerNode, ++node) {
    make_points(session_number_ * nodes_per_session(options_) + node + 1, first,
                std::min(first + kPointsPerNode, options_.points));
  }
  board_.made = true;
  look_up();
  fill();
}

void Hand::make_points(int32_t node, int32_t first, int32_t last) {
  const std::string parent =
      options_.server.database + "." + numbered(options_.server.prefix, 2, node);
  Objects points(context_, 0);
  for (int32_t point = first; point < last; ++point) {
    points.add(session_->new_object(numbered("P", 5, point + 1), AX));
  }
  const Modified done = session_->modify(Insert, parent, points);
  if (done.count == last - first) return;
  throw CallFailed(text("kelp2_modify_object inserted ", done.count, " of ", last - first,
                        " points under ", parent, ", first entry ", done.errors[0]));
}

// Reads and queries need existing rows: history, and a later current value.
void Hand::fill() {
  if (work_.filled() == 0) return;
  for (int32_t point = 0; point < options_.points && !control_.stop; ++point) {
    Columns rows;
    for (int32_t second = 0; second < options_.rows; ++second) {
      const LoadValue value = load_value(session_number_, point, second);
      rows.add({time_of(second), value.status, value.value});
    }
    const Out<int32_t> error = session_->write_history(ids_[point], rows);
    if (error[0] != 0) throw CallFailed(text("kelp2_write_histroy_byid gave the entry ", error[0]));
    board_.written += options_.rows;
  }
  Columns current;
  for (int32_t point = 0; point < options_.points; ++point) {
    const LoadValue value = load_value(session_number_, point, options_.rows);
    current.add({0, value.status, value.value});
  }
  session_->write_value(ids_, time_of(options_.rows), current);
  board_.written += options_.points;
}

void Hand::run_stage() {
  const StageOrder order = stage_.order;
  const Schedule &schedule = order.schedule;
  if (!session_) try_to_connect();
  const Share before = Share::now();
  const int64_t in_library = context_.calls.time_in_calls();
  wait_for(schedule.begin);
  const int64_t began = now_ns();
  const int64_t calls = schedule.calls_of(session_number_);
  int64_t idle = 0;
  for (int64_t nth = order.first; nth < calls && !control_.stop; ++nth) {
    if (order.until > 0 && now_ns() >= order.until) break;
    stage_.next = nth;
    const int64_t intended = schedule.at(schedule.number(session_number_, nth));
    const CallKind kind = work_.kind(session_number_, nth);
    prepare(kind);
    const int64_t free_at = now_ns();
    const bool waited = wait_for(intended);
    const int64_t start = now_ns();
    idle += waited ? start - free_at : 0;
    if (intended > control_.cut || control_.stop) break;
    if (order.give_up > 0 && start - intended > order.give_up) control_.end_at(start);
    const Outcome outcome = act(kind, nth);
    note(intended, waited, start, now_ns(), outcome);
  }
  const Share after = Share::now();
  stage_.wall += now_ns() - began;
  stage_.waited += idle;
  stage_.in_library += context_.calls.time_in_calls() - in_library;
  stage_.on_processor += after.on_processor - before.on_processor;
  stage_.waited_for_processor += after.waited - before.waited;
}

// Whether there was anything to wait for. Ends early where the call will not be made.
bool Hand::wait_for(int64_t moment) {
  constexpr int64_t most = kSecond / 20;
  int64_t now = now_ns();
  if (now >= moment) return false;
  for (; now < moment && !control_.stop && moment <= control_.cut; now = now_ns()) {
    wait_until(std::min(moment, now + most), {});
  }
  return true;
}

void Hand::prepare(CallKind kind) {
  if (kind == CallKind::read || kind == CallKind::query || prepared_ == board_.writes) return;
  prepared_ = board_.writes;
  const RowRange range = work_.range(prepared_);
  const int64_t count = work_.rows(kind);
  columns_.times.clear();
  columns_.statuses.resize(static_cast<size_t>(count));
  columns_.values.resize(static_cast<size_t>(count));
  const bool history = kind == CallKind::history;
  const int32_t own_point = work_.point(prepared_);
  for (int64_t i = 0; i < count; ++i) {
    const int64_t second = range.first + (history ? i : 0);
    const int32_t point = history ? own_point : static_cast<int32_t>(i);
    const LoadValue value = load_value(session_number_, point, second);
    columns_.statuses[static_cast<size_t>(i)] = value.status;
    columns_.values[static_cast<size_t>(i)] = value.value;
    if (history) columns_.times.push_back(time_of(second));
  }
}

// A session that is lost is made again, not more often than ten times a second: a call that is due
// before has failed.
Hand::Outcome Hand::act(CallKind kind, int64_t call) {
  constexpr int64_t pause = kSecond / 10;
  const bool writes = kind != CallKind::read && kind != CallKind::query;
  const int64_t number = board_.writes;
  if (writes) ++board_.writes;
  Outcome outcome = try_to(kind, call);
  if (outcome.failed && writes) {
    if (stage_.failed_writes < kFailedWritesKept)
      stage_.failed_write[stage_.failed_writes] = number;
    ++stage_.failed_writes;
  }
  if (!outcome.failed) return outcome;
  if (session_ && session_->status() != 0) session_.reset();
  if (!session_ && now_ns() - refused_ > pause) try_to_connect();
  return outcome;
}

void Hand::try_to_connect() {
  try {
    connect();
  } catch (const CallFailed &) {
    session_.reset();
    refused_ = now_ns();
  }
}

Hand::Outcome Hand::try_to(CallKind kind, int64_t call) {
  if (!session_) return {0, true};
  try {
    switch (kind) {
      case CallKind::read: return read();
      case CallKind::query: return query(call);
      default: return write(kind);
    }
  } catch (const CallFailed &) {
    return {0, true};
  }
}

Hand::Outcome Hand::write(CallKind kind) {
  const int64_t second = work_.range(prepared_).first;
  if (kind == CallKind::history) {
    const Out<int32_t> error =
        session_->write_history(ids_[static_cast<size_t>(work_.point(prepared_))], columns_);
    if (error[0] == 0) board_.written += columns_.size();
    return {error[0] == 0 ? columns_.size() : 0, error[0] != 0};
  }
  const bool snap = kind == CallKind::snap;
  const Out<int32_t> errors = snap ? session_->write_snap(ids_, time_of(second), columns_)
                                   : session_->write_value(ids_, time_of(second), columns_);
  int64_t done = 0;
  for (size_t i = 0; i < errors.size(); ++i) {
    const bool failed = snap ? errors[i] != 0 : errors[i] < 0;
    if (!failed) ++done;
  }
  board_.written += done;
  return {done, done < static_cast<int64_t>(errors.size())};
}

Hand::Outcome Hand::read() const {
  const Readings read = session_->values(who_);
  int64_t done = 0;
  for (size_t i = 0; i < read.errors.size(); ++i) {
    if (read.errors[i] == 0) ++done;
  }
  return {done, done < static_cast<int64_t>(read.errors.size())};
}

Hand::Outcome Hand::query(int64_t call) const {
  const auto point = static_cast<size_t>(call % options_.points);
  const History history = session_->history(Ids{ids_[point]}, time_of(0), time_of(options_.rows));
  const int64_t rows = history.fetch_all(0);
  return {rows, rows < options_.rows};
}

void Hand::note(int64_t intended, bool waited, int64_t start, int64_t end, const Outcome &outcome) {
  const StageOrder &order = stage_.order;
  const int64_t second = (end - order.schedule.begin) / kSecond + 1;
  SecondSlot &slot = stage_.seconds[second % kSecondsKept];
  if (slot.second != second) {
    slot = {};
    slot.second = second;
  }
  stage_.all_rows += outcome.rows;
  stage_.last_end = end;
  if (outcome.failed) ++slot.failures;
  if (!outcome.failed) slot.latency.add(end - intended, outcome.rows);
  if (order.counts(intended)) {
    ++stage_.calls;
    if (outcome.failed) ++stage_.failures;
    stage_.most_late = std::max(stage_.most_late, start - intended);
    if (waited) stage_.late.add(start - intended, 0);
    if (!outcome.failed) {
      stage_.latency.add(end - intended, outcome.rows);
      stage_.service.add(end - start, 0);
      const int64_t counted = order.schedule.end() - order.counted_from;
      const int64_t part =
          (intended - order.counted_from) * kSlices / std::max<int64_t>(counted, 1);
      StagePart &slice = stage_.slices[std::min<int64_t>(part, kSlices - 1)];
      const int64_t late = std::max<int64_t>(start - intended, 0);
      slice.least_late = slice.latency.calls == 0 ? late : std::min(slice.least_late, late);
      slice.latency.add(end - intended, outcome.rows);
    }
  }
  ++stage_.done;
}

}  // namespace kelpcheck
