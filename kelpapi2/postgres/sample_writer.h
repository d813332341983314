// Writes samples and current values. Rows go to the server in key order and without repeated keys:
// a statement cannot touch a row twice, and writers that take rows in one order do not deadlock.
//
// A write first locks its points, in the order of their ids, so that a point that is deleted at the
// same time leaves no samples behind. A write of several statements holds them so that the next one
// of its kind waits there for its turn: else they would stop each other again and again, and one of
// them for ever. Smaller writes pass by, and wait only for a row that is being written.
#pragma once

#include "postgres/insertion.h"
#include "postgres/known_points.h"
#include "store/store.h"

namespace kelp::postgres {

class SampleWriter {
 public:
  SampleWriter(Session &session, KnownPoints &points) : session_(session), points_(points) {}

  // Stores all rows of known points in one transaction; an entry per row.
  std::vector<ResultCode> write(WriteKind kind, const SampleRows &rows);

 private:
  // What is written in one transaction: the rows at these positions, which are those of the points.
  struct Batch {
    WriteKind kind;
    const SampleRows &rows;
    std::vector<size_t> order;
    std::vector<int32_t> points;
    bool plainly;  // no sample of the same time is expected
  };

  Batch make_batch(WriteKind kind, const SampleRows &rows, std::vector<ResultCode> &codes);
  void write_batch(const Batch &batch);
  void write_in_turn(const Batch &batch);
  void insert_parts(const Batch &batch, const Insertion &insertion);
  void notice_deletions(const Batch &batch, int &unexplained);

  Session &session_;
  KnownPoints &points_;
  int upserts_left_ = 0;  // writes to make before a plain insert is tried again
};

}  // namespace kelp::postgres
