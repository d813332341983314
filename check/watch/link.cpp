#include "watch/link.h"

#include <algorithm>

namespace kelpcheck::watch {

namespace {

constexpr int64_t kLookAgain = 50'000'000;  // nanoseconds: for calls that take too long

// A password is in no journal and no report, whatever the library says.
std::string redacted(std::string text, const std::string &secret) {
  constexpr size_t shortest = 4;  // a shorter one would be found in every other word
  if (secret.size() < shortest) return text;
  for (size_t at = 0; (at = text.find(secret, at)) != text.npos; at += 3) {
    text.replace(at, secret.size(), "***");
  }
  return text;
}

}  // namespace

Link::Link(const ServerOptions &server, const JournalHead &head) : server_(server), head_(head) {
  start();
}

void Link::start() {
  worker_ = make_servant(server_, head_);
  asked_.reset();
  connected_ = false;
}

void Link::ask(Request request) {
  request.first = first_ != 0 ? first_ : request.first;
  asked_ = request;
  worker_->ask(to_json(request));
}

void Link::reconnect() {
  connected_ = false;
  connect_at_ = now_ns();
}

// Each attempt that fails doubles the pause to the next one.
void Link::schedule() {
  connect_at_ = now_ns() + static_cast<int64_t>(pause_ * 1e9);
  pause_ = std::min(2 * pause_, kLongestPause);
}

std::optional<Link::Event> Link::work() {
  if (const auto answer = worker_->take(server_.timeout)) {
    Event event;
    event.said = redacted(answer->said, server_.password);
    if (asked_) event.request = *asked_;
    asked_.reset();
    if (!answer->end.empty()) {
      event.end = answer->hung ? "hung" : answer->end;
      event.reply.code = event.end;
      event.reply.lost = true;
      start();
      schedule();
      return event;
    }
    event.reply = parse_reply(answer->text);
    if (event.request.what == Request::connect) {
      connected_ = event.reply.done;
      if (!connected_) schedule();
    } else if (event.reply.lost) {
      reconnect();
    }
    return event;
  }
  if (!connected_ && !busy() && now_ns() >= connect_at_) ask({Request::connect, 0, 0, {}, 0, 0});
  return std::nullopt;
}

int64_t Link::due() const {
  if (busy()) return now_ns() + kLookAgain;
  return connected_ ? INT64_MAX : connect_at_;
}

std::vector<int> Link::descriptors() const { return worker_->descriptors(); }

}  // namespace kelpcheck::watch
