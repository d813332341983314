#include "report/watch_words.h"

#include <cmath>
#include <cstdio>

#include "result/text.h"

namespace kelpcheck::watch {

namespace {

constexpr size_t kMostParts = 4;  // of a list of points

int64_t day_of(double moment) { return static_cast<int64_t>(std::floor(moment / 86400)); }

std::string code_words(const std::string &code) {
  const bool number = code.find_first_not_of("-0123456789") == code.npos;
  return number ? "code " + code : code;
}

std::string join(const std::vector<std::string> &words) {
  std::string all;
  for (const std::string &word : words) append_item(all, word);
  return all;
}

}  // namespace

std::string counted(int64_t count, const std::string &what) {
  return with_thousands(count) + " " + what + (count == 1 ? "" : "s");
}

std::string span_text(double seconds) {
  constexpr int64_t minute = 60, hour = 60 * minute, day = 24 * hour;
  if (seconds < minute) return duration_text(seconds * 1e9);
  const auto whole = static_cast<int64_t>(std::llround(seconds));
  if (whole < hour) return text(whole / minute, " min ", whole % minute, " s");
  if (whole < day) return text(whole / hour, " h ", whole % hour / minute, " min");
  return text(whole / day, " d ", whole % day / hour, " h");
}

WatchWords::WatchWords(const WatchReport &report) : report_(report) {
  const auto first = static_cast<double>(report.first_time);
  days_ = day_of(first) != day_of(static_cast<double>(report.time_of(report.steps_in_all)));
}

std::string WatchWords::clock(double moment) const {
  const std::string whole = clock_text(static_cast<int64_t>(std::floor(moment)));
  return days_ ? whole : whole.substr(11);
}

std::string WatchWords::summary() const {
  if (!report_.reasons.empty()) return report_.reasons.front();
  std::string words = text("all ", counted(report_.samples.acknowledged, "acknowledged value"),
                           " of ", counted(report_.steps.acknowledged, "step"), " are there");
  if (report_.share < 1) {
    words += text(", looked at in ", with_thousands(report_.judged_points), " of ",
                  counted(report_.points, "point"));
  }
  const size_t outages = report_.outages.size();
  return words + (outages == 0 ? "; no outage" : "; " + counted(int64_t(outages), "outage"));
}

std::string WatchWords::steps() const {
  const StepCounts &steps = report_.steps;
  std::string words = counted(steps.acknowledged, "step") + " acknowledged";
  const auto add = [&](int64_t count, const char *what) {
    append_item(words, with_thousands(count) + " " + what);
  };
  add(steps.failed, "failed");
  add(steps.unknown, "unknown");
  add(steps.skipped, "skipped");
  if (steps.not_watched > 0) add(steps.not_watched, "not watched");
  return words;
}

std::string WatchWords::samples() const {
  const Samples &samples = report_.samples;
  if (!report_.verified && samples.acknowledged == 0) return "not read";
  const std::string acknowledged =
      text(counted(samples.acknowledged, "value"),
           " acknowledged: ", with_thousands(samples.present), " present, ",
           with_thousands(samples.changed), " changed, ", with_thousands(samples.lost), " lost; ");
  const std::string others = text(with_thousands(samples.recovered), " recovered, ",
                                  with_thousands(samples.foreign), " foreign");
  return acknowledged + others + (report_.verified ? "" : "; not read to the end");
}

std::string WatchWords::reader() const {
  const ReaderFindings &reader = report_.reader;
  if (!reader.succeeded) return "nothing: the reader never succeeded";
  return counted(reader.stale, "stale value") + ", " + with_thousands(reader.foreign) +
         " that no step wrote, " + counted(reader.holes, "hole") + " in history";
}

std::string WatchWords::outage(const Outage &outage) const {
  std::string words = span_text(outage.seconds);
  if (!outage.over) words += " and not over by then";
  words += ", " + counted(outage.skipped, "step") + " not written, " +
           counted(outage.failed_calls, "failed call");
  std::vector<std::string> codes;
  for (const std::string &code : outage.codes) codes.push_back(code_words(code));
  if (!codes.empty()) words += " (" + join(codes) + ")";
  if (outage.lost_seconds > 0) {
    words += "; " + span_text(outage.lost_seconds) + " of acknowledged data before it are lost";
  }
  return words;
}

std::string WatchWords::stall(const Stall &stall) const {
  return "a call of " + span_text(stall.seconds) + ", " + counted(stall.skipped, "step") +
         " not written";
}

std::string WatchWords::points(const Ranges &points) const {
  const int64_t count = points.count();
  if (count == report_.points) return text("all ", report_.points, " points");
  const auto name = [](int64_t point) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "P%05lld", static_cast<long long>(point + 1));
    return std::string(buffer);
  };
  std::vector<std::string> parts;
  for (const Span &part : points.parts()) {
    if (parts.size() == kMostParts) {
      parts.push_back("...");
      break;
    }
    std::string words = name(part.first);
    if (part.size() > 1) words += " to " + name(part.last);
    parts.push_back(words);
  }
  return counted(count, "point") + " (" + join(parts) + ")";
}

std::string WatchWords::damage(const Patch &patch) const {
  const auto first = static_cast<double>(report_.time_of(patch.steps.first));
  const auto last = static_cast<double>(report_.time_of(patch.steps.last));
  std::string words = clock(first);
  if (patch.steps.size() > 1) words += " to " + clock(last);
  words += ", " + points(patch.points) + ", " + counted(patch.values, "value");
  if (patch.before_outage < 0) return words;
  const auto seconds = [&](double moment) {
    return std::to_string(std::llround(std::floor(patch.outage - moment)));
  };
  words += ", acknowledged " + seconds(first);
  if (patch.steps.size() > 1) words += " to " + seconds(last);
  return words + " s before the outage of " + clock(patch.outage);
}

std::string WatchWords::oddity(const Oddity &odd) const {
  return odd.point + " at " + clock_text(odd.time) + ": expected " + odd.expected + ", got " +
         odd.got;
}

std::vector<std::pair<std::string, std::string>> WatchWords::facts() const {
  const Server &server = report_.server;
  std::vector<std::pair<std::string, std::string>> all{
      {"Server", server.where()},
      {"Tree",
       text(server.database, ".", server.prefix, "..., ", counted(report_.points, "point"))}};
  if (report_.first_time != 0) {
    const double last =
        static_cast<double>(report_.time_of(std::max<int64_t>(report_.steps_in_all, 1) - 1));
    all.push_back({"Steps", text(clock_text(report_.first_time), " to ",
                                 clock_text(static_cast<int64_t>(last)), " UTC, every ",
                                 report_.every, " s")});
  }
  all.push_back({"Writes", text(duration_text(report_.typical_write * 1e9), " typical, ",
                                duration_text(report_.longest_write * 1e9), " longest")});
  all.push_back({"Journal", report_.journal});
  if (report_.rows_read > 0 && report_.verify_seconds > 0) {
    const double rate = static_cast<double>(report_.rows_read) / report_.verify_seconds;
    all.push_back(
        {"Read back", text(with_thousands(report_.rows_read), " rows in ",
                           span_text(report_.verify_seconds), ", ", rate_text(rate), " a second")});
  }
  all.push_back({"When", text(clock_text(report_.started), " UTC, ", span_text(report_.seconds))});
  all.push_back({"From", report_.machine});
  all.push_back({"Library", report_.library.path});
  all.push_back({"Library file", report_.library.words()});
  all.push_back({"Settling", text("values have ", report_.settle, " s; a call may take ",
                                  report_.timeout, " s")});
  if (server.option != 0) all.push_back({"Option word", text(server.option)});
  all.push_back({"Program", "kelpcheck " KELPCHECK_VERSION});
  return all;
}

}  // namespace kelpcheck::watch
