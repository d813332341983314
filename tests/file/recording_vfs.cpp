// A file of ours is the disk's file behind a pointer to it and to its path, and hands on what it
// does not record.
#include "recording_vfs.h"

#include <algorithm>
#include <fstream>

namespace kelptest {

struct RecordingVfs::File {
  sqlite3_file base;
  RecordingVfs *vfs;
  const char *path;  // null for files that are not a store's
  sqlite3_file *disk;
};

namespace {

template <auto method, typename... Arguments>
auto hand_on(sqlite3_file *file, Arguments... arguments) {
  struct Layout {
    sqlite3_file base;
    void *vfs;
    const char *path;
    sqlite3_file *disk;
  };
  sqlite3_file *disk = reinterpret_cast<Layout *>(file)->disk;
  return (disk->pMethods->*method)(disk, arguments...);
}

}  // namespace

RecordingVfs &RecordingVfs::self(sqlite3_file *file) {
  return *reinterpret_cast<File *>(file)->vfs;
}

RecordingVfs::RecordingVfs() : disk_(sqlite3_vfs_find(nullptr)), vfs_(*disk_) {
  using Methods = sqlite3_io_methods;
  methods_ = {2,
              [](sqlite3_file *file) { return hand_on<&Methods::xClose>(file); },
              [](sqlite3_file *file, void *bytes, int count, sqlite3_int64 at) {
                return hand_on<&Methods::xRead>(file, bytes, count, at);
              },
              write,
              truncate,
              sync,
              hand_on<&Methods::xFileSize, sqlite3_int64 *>,
              hand_on<&Methods::xLock, int>,
              hand_on<&Methods::xUnlock, int>,
              hand_on<&Methods::xCheckReservedLock, int *>,
              hand_on<&Methods::xFileControl, int, void *>,
              hand_on<&Methods::xSectorSize>,
              hand_on<&Methods::xDeviceCharacteristics>,
              hand_on<&Methods::xShmMap, int, int, int, void volatile **>,
              hand_on<&Methods::xShmLock, int, int, int>,
              hand_on<&Methods::xShmBarrier>,
              hand_on<&Methods::xShmUnmap, int>,
              nullptr,
              nullptr};
  vfs_.zName = "recording";
  vfs_.szOsFile = static_cast<int>(sizeof(File)) + disk_->szOsFile;
  vfs_.pAppData = this;
  vfs_.xOpen = open;
  vfs_.xDelete = remove;
  sqlite3_vfs_register(&vfs_, 1);
}

RecordingVfs::~RecordingVfs() {
  sqlite3_vfs_unregister(&vfs_);
  sqlite3_vfs_register(disk_, 1);
}

int RecordingVfs::open(sqlite3_vfs *vfs, const char *path, sqlite3_file *file, int flags,
                       int *got) {
  auto &self = *static_cast<RecordingVfs *>(vfs->pAppData);
  auto *ours = reinterpret_cast<File *>(file);
  const bool recorded = (flags & (SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_WAL)) != 0;
  *ours = {{&self.methods_},
           &self,
           recorded ? path : nullptr,
           reinterpret_cast<sqlite3_file *>(ours + 1)};
  const int result = self.disk_->xOpen(self.disk_, path, ours->disk, flags, got);
  if (result != SQLITE_OK) file->pMethods = nullptr;
  return result;
}

int RecordingVfs::remove(sqlite3_vfs *vfs, const char *path, int sync_folder) {
  auto &self = *static_cast<RecordingVfs *>(vfs->pAppData);
  self.steps_.push_back({Step::kRemove, path, 0, ""});
  return self.disk_->xDelete(self.disk_, path, sync_folder);
}

int RecordingVfs::write(sqlite3_file *file, const void *bytes, int count, sqlite3_int64 at) {
  const auto *ours = reinterpret_cast<File *>(file);
  if (ours->path) {
    if (self(file).writes_left_ == 0) return SQLITE_FULL;
    --self(file).writes_left_;
    const auto *text = static_cast<const char *>(bytes);
    self(file).steps_.push_back({Step::kWrite, ours->path, at, std::string(text, count)});
  }
  return ours->disk->pMethods->xWrite(ours->disk, bytes, count, at);
}

int RecordingVfs::truncate(sqlite3_file *file, sqlite3_int64 size) {
  const auto *ours = reinterpret_cast<File *>(file);
  if (ours->path) self(file).steps_.push_back({Step::kTruncate, ours->path, size, ""});
  return ours->disk->pMethods->xTruncate(ours->disk, size);
}

int RecordingVfs::sync(sqlite3_file *file, int flags) {
  const auto *ours = reinterpret_cast<File *>(file);
  if (self(file).fail_syncs_) return SQLITE_IOERR_FSYNC;
  if (ours->path) self(file).steps_.push_back({Step::kSync, ours->path, 0, ""});
  return ours->disk->pMethods->xSync(ours->disk, flags);
}

void RecordingVfs::make_image(size_t moment, const std::string &from, const std::string &to,
                              std::mt19937 &random) const {
  std::map<std::string, size_t> synced;  // the last sync of each file before the moment
  for (size_t i = 0; i < moment; ++i) {
    if (steps_[i].kind == Step::kSync) synced[steps_[i].path] = i;
  }
  const unsigned kept_of_8 = random() % 9;
  std::map<std::string, std::string> files;
  for (size_t i = 0; i < moment; ++i) {
    const Step &step = steps_[i];
    std::string &bytes = files[step.path];
    const bool on_disk = synced.contains(step.path) && i < synced[step.path];
    if (step.kind == Step::kSync || (!on_disk && random() % 8 >= kept_of_8)) continue;
    if (step.kind == Step::kWrite) {
      bytes.resize(std::max(bytes.size(), step.at + step.bytes.size()));
      std::copy(step.bytes.begin(), step.bytes.end(), bytes.begin() + step.at);
    } else {
      bytes.resize(step.kind == Step::kTruncate ? step.at : 0);
    }
  }
  for (const auto &[path, bytes] : files) {
    if (!path.starts_with(from)) continue;
    std::ofstream(to + path.substr(from.size()), std::ios::trunc) << bytes;
  }
}

}  // namespace kelptest
