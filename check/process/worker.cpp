#include "process/worker.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "result/clock.h"

namespace kelpcheck {

namespace {

constexpr double kPatience = 2;      // seconds for a killed process to end
constexpr double kFarewell = 1;      // seconds for one that ends by itself
constexpr size_t kMostSaid = 2'000;  // bytes kept of what the library prints during a request

// Reads requests line by line until one is empty. That the parent closes its end need not show:
// processes that it started later hold it, too.
int serve_requests(int requests, const Worker::Serve &serve, const RecordPipe &answers) {
  std::string bytes;
  char buffer[4096];
  for (;;) {
    const ssize_t n = read(requests, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return 0;
    bytes.append(buffer, static_cast<size_t>(n));
    for (size_t end; (end = bytes.find('\n')) != std::string::npos;) {
      const std::string request = bytes.substr(0, end);
      bytes.erase(0, end + 1);
      if (request.empty()) return 0;
      answers.send(serve(request));
    }
  }
}

}  // namespace

Worker::Worker(const std::function<Serve(CallBoard &board)> &make) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  requests_ = ends[1];
  child_ = std::make_unique<Child>([&](const RecordPipe &answers) {
    close(ends[1]);
    return serve_requests(ends[0], make(*board_), answers);
  });
  close(ends[0]);
}

// Its requests have come to their end, so that it closes what it has; if that takes long it is
// killed.
Worker::~Worker() {
  if (!child_->ended()) ask("");
  close(requests_);
  for (const int64_t start = now_ns(); !child_->ended() && seconds_since(start) < kFarewell;) {
    wait_readable(descriptors(), 10);
    child_->take_records();
    child_->take_output();
  }
}

void Worker::ask(const std::string &request) {
  const std::string line = request + "\n";
  for (size_t sent = 0; sent < line.size();) {
    const ssize_t n = write(requests_, line.data() + sent, line.size() - sent);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;  // it has ended, which is found by the next look
    sent += static_cast<size_t>(n);
  }
}

std::optional<Worker::Answer> Worker::take(double timeout) {
  if (gone_) return std::nullopt;
  const bool has_ended = child_->ended();  // what it sent before is there by now
  const std::vector<std::string> answers = child_->take_records();
  said_ += child_->take_output();
  if (said_.size() > kMostSaid) said_.resize(kMostSaid);
  if (!answers.empty()) return Answer{answers.back(), "", false, std::exchange(said_, {})};
  if (has_ended) {
    const bool hung = killed_ != 0;
    return ended(hung, hung ? overdue_ : board_->end_text(child_->status()));
  }
  if (killed_ == 0 && board_->overdue(timeout)) {
    overdue_ = board_->overdue_text(timeout);
    child_->kill();
    killed_ = now_ns();
  }
  const bool immortal = killed_ != 0 && seconds_since(killed_) > kPatience;
  return immortal ? ended(true, overdue_) : std::nullopt;
}

std::optional<Worker::Answer> Worker::ended(bool hung, const std::string &end) {
  gone_ = true;
  return Answer{"", end, hung, std::exchange(said_, {})};
}

}  // namespace kelpcheck
