// Written and read by hand: a general JSON library would take most of the time of a call.
#include "sqlite/block.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace kelp::sqlite {

namespace {

constexpr std::string_view kNan = "null";
constexpr std::string_view kInfinity = "9e999";

[[noreturn]] void fail_damaged() {
  throw Failure(kDamaged, "a block of staged samples is damaged");
}

template <typename Number>
void append(std::string &text, Number number) {
  char digits[32];
  text.append(digits, std::to_chars(digits, std::end(digits), number).ptr);
}

void append_value(std::string &text, double value) {
  if (std::isnan(value)) {
    text += kNan;
  } else if (std::isinf(value)) {
    if (value < 0) text += '-';
    text += kInfinity;
  } else {
    append(text, value);
  }
}

template <typename Number>
const char *parse(const char *at, const char *end, Number &number) {
  const auto [behind, error] = std::from_chars(at, end, number);
  if (error != std::errc()) fail_damaged();
  return behind;
}

const char *parse_value(const char *at, const char *end, double &value) {
  if (std::string_view(at, end).starts_with(kNan)) {
    value = std::numeric_limits<double>::quiet_NaN();
    return at + kNan.size();
  }
  const char *digits = at < end && *at == '-' ? at + 1 : at;
  if (std::string_view(digits, end).starts_with(kInfinity)) {
    value = digits == at ? HUGE_VAL : -HUGE_VAL;
    return digits + kInfinity.size();
  }
  return parse(at, end, value);
}

}  // namespace

void BlockText::add(const PointSample &added) {
  const Sample &sample = added.sample;
  const int64_t delay = int64_t{sample.time} - time_;
  text_ += text_.empty() ? "[[" : ",[";
  append(text_, place_in_bucket(added.point));
  text_ += ',';
  append_value(text_, sample.value);
  if (sample.status != 0 || delay != 0) {
    text_ += ',';
    append(text_, sample.status);
  }
  if (delay != 0) {
    text_ += ',';
    append(text_, delay);
  }
  text_ += ']';
}

bool BlockReader::next() {
  // The opening bracket of the text, or what is left of the entry before and the comma behind it.
  at_ = std::find(at_, end_, '[');
  if (at_ + 1 < end_ && at_[1] == '[') ++at_;
  if (at_ == end_) return false;
  at_ = parse(at_ + 1, end_, place_);
  if (place_ < 0 || place_ >= kBucketPoints) fail_damaged();
  return true;
}

Sample BlockReader::sample() {
  Sample sample;
  int64_t delay = 0;
  const auto separator = [&](char wanted) { return at_ < end_ && *at_ == wanted; };
  if (!separator(',')) fail_damaged();
  at_ = parse_value(at_ + 1, end_, sample.value);
  if (separator(',')) at_ = parse(at_ + 1, end_, sample.status);
  if (separator(',')) at_ = parse(at_ + 1, end_, delay);
  if (!separator(']')) fail_damaged();
  sample.time = static_cast<int32_t>(int64_t{time_} + delay);
  return sample;
}

}  // namespace kelp::sqlite
