// Where everything that a watch does goes: into its journal, and into its own story of the run.
#pragma once

#include "watch/journal.h"
#include "watch/story.h"

namespace kelpcheck::watch {

class Recorder {
 public:
  // `tell` is for what stays on the screen.
  Recorder(Journal &journal, Story &story, std::function<void(const Notice &)> tell)
      : journal_(journal), story_(story), tell_(std::move(tell)) {}

  // False where it is not on the disk, but waits to be written.
  bool record(const JournalLine &line);
  bool record(const JournalHead &head);
  const Story &story() const { return story_; }

 private:
  bool written(bool done);

  Journal &journal_;
  Story &story_;
  std::function<void(const Notice &)> tell_;
  bool failing_ = false;
};

}  // namespace kelpcheck::watch
