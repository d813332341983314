// Between SQLite and the disk: records every write and sync of a store, can show what the disk
// could hold after a power failure at any moment, and can fail syncs and writes.
#pragma once

#include <sqlite3.h>

#include <map>
#include <random>
#include <string>
#include <vector>

namespace kelptest {

class RecordingVfs {
 public:
  // Takes the place of the system's own file functions for as long as it lives. One at a time.
  RecordingVfs();
  ~RecordingVfs();
  RecordingVfs(const RecordingVfs &) = delete;
  RecordingVfs &operator=(const RecordingVfs &) = delete;

  // The number of steps so far: a moment lies behind each.
  size_t moment() const { return steps_.size(); }
  // Writes the files as they could be found after a power failure at a moment, `to` in place of
  // `from` in their names: what was synced is there, and of the rest any part.
  void make_image(size_t moment, const std::string &from, const std::string &to,
                  std::mt19937 &random) const;
  void fail_syncs(bool fail) { fail_syncs_ = fail; }
  // As on a disk that is full after so many writes.
  void fail_writes_after(int64_t writes) { writes_left_ = writes; }

 private:
  struct Step {
    enum Kind { kWrite, kTruncate, kSync, kRemove } kind;
    std::string path;
    int64_t at;  // or the size
    std::string bytes;
  };
  struct File;
  static RecordingVfs &self(sqlite3_file *file);
  static int open(sqlite3_vfs *vfs, const char *path, sqlite3_file *file, int flags, int *got);
  static int remove(sqlite3_vfs *vfs, const char *path, int sync_folder);
  static int write(sqlite3_file *file, const void *bytes, int count, sqlite3_int64 at);
  static int truncate(sqlite3_file *file, sqlite3_int64 size);
  static int sync(sqlite3_file *file, int flags);

  sqlite3_vfs *disk_;
  sqlite3_vfs vfs_;
  sqlite3_io_methods methods_{};
  std::vector<Step> steps_;
  bool fail_syncs_ = false;
  int64_t writes_left_ = INT64_MAX;
};

}  // namespace kelptest
