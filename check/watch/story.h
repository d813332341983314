// What the lines of a journal amount to: outcomes of steps, outages, stalls, what the reader saw. A
// watch tells itself its own lines as it writes them, and verification reads them from the file, so
// that both come to the same.
#pragma once

#include <optional>

#include <functional>
#include <optional>

#include "watch/journal_line.h"
#include "watch/steps.h"
#include "watch/time_line.h"

namespace kelpcheck::watch {

// What a terminal shows for good.
struct Notice {
  double at;
  std::string words;
};

class Story {
 public:
  // `tell` may be empty. Throws std::exception for a line that cannot follow those before it.
  explicit Story(std::function<void(const Notice &)> tell = {}) : tell_(std::move(tell)) {}

  // It says nothing while it is muted.
  void mute(bool muted) { muted_ = muted; }
  void take(const JournalLine &line);
  // Lines are missing here: nothing is known of the steps up to the next one in the journal.
  void take_broken() { broken_ = true; }
  // Ends what has not ended.
  void finish();

  const Steps &steps() const { return steps_; }
  const std::optional<WatchBegan> &begun() const { return begun_; }
  bool ended() const { return ended_; }
  // Whether rows become history; nothing while nobody has looked.
  std::optional<bool> history_kept() const { return history_kept_; }
  const ReaderFindings &reader() const { return reader_; }
  const std::vector<Outage> &outages() const { return outages_; }
  const std::vector<Outage> &reader_outages() const { return reader_outages_; }
  const std::vector<Stall> &stalls() const { return stalls_; }
  // The outage that goes on, or null.
  const Outage *outage() const { return out_ ? &outages_.back() : nullptr; }
  double longest_write() const { return longest_write_; }
  double typical_write() const;
  // The last moment that a line names.
  double latest() const { return latest_; }
  TimeLine line() const { return line_.finished(); }
  int64_t resumptions() const { return resumptions_; }

 private:
  void on(const WatchBegan &line);
  void on(const StepBegan &line);
  void on(const StepEnded &line);
  void on(const StepSkipped &line);
  void on(const SessionRefused &line);
  void on(const SessionMade &line);
  void on(const Resumed &line);
  void on(const ReaderReads &line);
  void on(const ReaderLost &line);
  void on(const ReaderFound &line);
  void on(const HistoryLooked &line);
  void on(const WatchEnded &line);

  void set(int64_t step, const Steps::State &state);
  void settle_pending();
  void fail(double at, const std::string &code, const std::string &words, const std::string &said);
  void recover(double at);
  void tell(double at, const std::string &words) const;

  std::function<void(const Notice &)> tell_;
  Steps steps_;
  TimeLineBuilder line_;
  std::optional<WatchBegan> begun_;
  std::optional<StepBegan> pending_;  // a call without an outcome so far
  std::vector<Outage> outages_, reader_outages_;
  std::vector<Stall> stalls_;
  ReaderFindings reader_;
  bool out_ = false, reader_out_ = false;
  bool ended_ = false, broken_ = false, muted_ = false;
  std::optional<bool> history_kept_;
  bool after_slow_call_ = false;  // steps that are skipped now passed inside it
  Stall slow_call_;
  double latest_ = 0, longest_write_ = 0;
  double logarithms_ = 0;
  double last_found_[3] = {-1e9, -1e9, -1e9};  // by kind
  int64_t not_written_ = 0;                    // steps since the outage began
  int64_t writes_ = 0, resumptions_ = 0;
};

}  // namespace kelpcheck::watch
