// The results of a history query. Each of them is read on in time order; what is held in memory is
// a page of samples of each, all pages under one budget, so that memory is bounded however many
// points and rows there are, and no transaction stays open. A call to the store brings pages of
// many points at once: reading the results one after the other takes few calls, and so does reading
// them in step, a row of each in turn.
//
// The rows of one page are those of one moment. A longer result is read on as it is fetched; its
// row count is fixed when it is first asked for, and a row that has gone missing since is a failed
// fetch.
#pragma once

#include <memory>
#include <optional>

#include "store/statistics.h"
#include "store/store.h"

namespace kelp {

class HistoryCursor {
 public:
  // Reads the first pages at once.
  HistoryCursor(std::shared_ptr<SampleSource> source, std::span<const int32_t> ids,
                const Intervals &intervals);

  const Intervals &intervals() const { return intervals_; }

  // The next sample of a point, null after the last; holds until the next call for any point.
  const Sample *peek(uint32_t point);
  // Goes on behind the sample that peek gave.
  void advance(uint32_t point);
  // The number of intervals of this step that the samples from the next one on lie in: with a step
  // of 1 that of the samples.
  int64_t intervals_left(uint32_t point, int32_t step);
  // Nothing more of the point will be read.
  void release(uint32_t point);

 private:
  struct Page {
    int32_t id;
    bool complete;         // there are no samples behind those held
    bool started = false;  // samples were taken, and there may be more
    int64_t resume;        // the earliest time that a sample behind those held can have
    size_t position = 0;   // of the next sample
    std::vector<Sample> samples = {};

    size_t unread() const { return samples.size() - position; }
  };

  template <typename Call>
  auto ask(Call &&call);
  // Reads on in a point of whose page nothing is left, and in others that will soon need it.
  void fill(uint32_t point);
  std::vector<uint32_t> points_to_ask(uint32_t point, size_t limit);
  void append(Page &page, std::vector<Sample> samples, size_t limit);
  void learn(size_t longest, size_t limit);
  // Shortens the pages to what may be held beside those that are read next.
  void make_room();
  void keep(Page &page, size_t most);
  void finish(Page &page);

  std::shared_ptr<SampleSource> source_;
  Intervals intervals_;
  std::vector<Page> pages_;   // one per point
  size_t held_ = 0;           // samples in all pages
  size_t started_ = 0;        // pages
  size_t rows_to_ask_;        // of each point: somewhat more than points turned out to have
  uint32_t ahead_ = 0;        // the point behind those last read ahead
  ResultCode failure_ = kOk;  // of a call to the source, once and for all
};

// One point's result: raw samples, or statistics per interval.
class HistoryResult {
 public:
  HistoryResult(std::shared_ptr<HistoryCursor> cursor, uint32_t point, HistoryMode mode)
      : cursor_(std::move(cursor)), point_(point), mode_(mode) {}
  ~HistoryResult() { cursor_->release(point_); }
  HistoryResult(const HistoryResult &) = delete;
  HistoryResult &operator=(const HistoryResult &) = delete;

  int32_t count();
  HistoryMode mode() const { return mode_; }
  // Deliver the next row; throw kEndOfRows after the last one.
  Sample next_sample();
  StatValue next_statistics();
  bool at_end();

 private:
  void start_row();

  std::shared_ptr<HistoryCursor> cursor_;
  uint32_t point_;
  HistoryMode mode_;
  std::optional<int32_t> count_;
  int64_t delivered_ = 0;
};

}  // namespace kelp
