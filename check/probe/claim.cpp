#include "probe/claim.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>

#include "process/child.h"
#include "result/clock.h"

namespace kelpcheck {

namespace {

const std::string kRunWords = "kelpcheck run ", kWatchWords = "kelpcheck watch";
constexpr int kRenewMilliseconds = 2000, kLookMilliseconds = 1500;
constexpr double kSettled = 6;   // seconds without a renewal after which a run is dead
constexpr double kSlowRead = 1;  // seconds of a read; where it takes longer, --timeout counts
constexpr int kLeastReads = 3;

std::string contents(const std::string &path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string host_name() {
  std::array<char, 256> name{};
  gethostname(name.data(), name.size() - 1);
  std::string word = printable(name.data());
  std::replace(word.begin(), word.end(), ' ', '_');
  return word.empty() ? "unknown" : word.substr(0, 64);
}

// The same for processes that can see each other, and for no others.
std::string this_machine() {
  std::array<char, 64> space{};
  if (readlink("/proc/self/ns/pid", space.data(), space.size() - 1) < 0) return "unknown";
  std::string digits;
  for (const char c : std::string(space.data())) {
    if (std::isdigit(static_cast<unsigned char>(c)) != 0) digits += c;
  }
  return contents("/proc/sys/kernel/random/boot_id").substr(0, 8) + "-" + digits;
}

// When the process started; 0 if there is none.
int64_t start_ticks(int64_t process) {
  const std::string stat = contents(text("/proc/", process, "/stat"));
  const size_t name_end = stat.rfind(')');  // the name may hold anything
  if (name_end == std::string::npos) return 0;
  constexpr int field_behind_name = 20;
  size_t at = name_end + 1;
  for (int i = 1; i < field_behind_name && at != std::string::npos; ++i) {
    at = stat.find(' ', at + 1);
  }
  return at == std::string::npos ? 0 : std::strtoll(stat.c_str() + at, nullptr, 10);
}

std::vector<std::string> words_of(const std::string &field) {
  std::vector<std::string> words;
  for (size_t begin = 0; begin < field.size();) {
    const size_t end = std::min(field.find(' ', begin), field.size());
    if (end > begin) words.push_back(field.substr(begin, end - begin));
    begin = end + 1;
  }
  return words;
}

// What a field says that does not change any more: the sign of life is that it does.
class Pulse {
 public:
  // Another reading, which took so long.
  void read(const std::string &field, double seconds) {
    slow_ = slow_ || seconds > kSlowRead;
    if (reads_ > 0 && field != field_) beats_ = true;
    field_ = field;
    if (reads_++ == 0) first_ = now_ns();
  }
  bool beats() const { return beats_; }
  bool dead(double timeout) const {
    const double needed = slow_ ? std::max(timeout, kSettled) : kSettled;
    return reads_ >= kLeastReads && seconds_since(first_) >= needed;
  }

 private:
  std::string field_;
  int reads_ = 0;
  int64_t first_ = 0;
  bool beats_ = false, slow_ = false;
};

// A field that cannot be read is a field of no run.
std::string description(const Object &object) {
  try {
    return get_text(object, KELP2_FIELD_DESCRIPTION);
  } catch (const CallFailed &) {
    return "";
  }
}

[[noreturn]] void refuse(const Context &c, const std::string &who) {
  throw Refused(text("another run uses the prefix ", c.server.prefix, ": ", who,
                     "; wait until it has ended, or use another --prefix"));
}

}  // namespace

Holder Holder::of_this_process(int32_t last_node) {
  const int64_t process = getpid();
  return {host_name(), this_machine(), process, start_ticks(process), std::time(nullptr),
          0,           last_node};
}

std::string Holder::field() const {
  return text(kRunWords, host, " ", machine, " ", process, " ", ticks, " ", started, " ", count,
              " ", last_node);
}

std::string Holder::words() const {
  return text("host ", host, ", process ", process, ", since ", clock_text(started), " UTC");
}

bool Holder::same_process(const Holder &other) const {
  return machine == other.machine && process == other.process && ticks == other.ticks;
}

std::optional<bool> Holder::runs() const {
  if (machine != this_machine()) return std::nullopt;
  return start_ticks(process) == ticks && ticks != 0;
}

std::optional<Holder> holder_of(const std::string &field) {
  if (!field.starts_with(kRunWords)) return std::nullopt;
  const std::vector<std::string> words = words_of(field.substr(kRunWords.size()));
  if (words.size() != 7) return std::nullopt;
  const auto number = [&](size_t i) { return std::strtoll(words[i].c_str(), nullptr, 10); };
  constexpr long long most_nodes = 10'000'000;
  return Holder{words[0],
                words[1],
                number(2),
                number(3),
                number(4),
                number(5),
                static_cast<int32_t>(std::clamp(number(6), 0LL, most_nodes))};
}

std::optional<std::string> description_of(const Session &session, const std::string &node) {
  try {
    const Objects objects = session.objects(Names{node});
    if (objects.errors[0] != 0) return std::nullopt;
    return description(objects[0]);
  } catch (const CallFailed &) {
    if (session.status() != 0) throw;
    return std::nullopt;  // a server may refuse a call in which every name is unknown
  }
}

std::optional<std::string> claim_field(Context &c, const Session &session) {
  return description_of(session, Prefix(c, session).full_name(0));
}

void require_free(Context &c, const Session &session) {
  Pulse pulse;
  while (!pulse.dead(c.server.timeout)) {
    const int64_t start = now_ns();
    const std::optional<std::string> field = claim_field(c, session);
    if (!field) return;
    const std::optional<Holder> holder = holder_of(*field);
    const std::optional<bool> runs = holder ? holder->runs() : std::nullopt;
    if (runs.has_value() && !*runs) return;
    pulse.read(*field, seconds_since(start));
    const bool alive = pulse.beats() || runs.value_or(false);
    if (alive)
      refuse(c, holder ? holder->words() : "its node changes, but does not say who uses it");
    wait_readable({}, kLookMilliseconds);
  }
}

void require_no_watch(Context &c, const Session &session, const std::string &node) {
  const std::string field = description_of(session, node).value_or("");
  if (!field.starts_with(kWatchWords)) return;
  throw Refused(text(node, " belongs to a watch and is its evidence; \"kelpcheck verify JOURNAL ",
                     "--remove\" removes it; or use another prefix than ", c.server.prefix));
}

void take_claim(Context &c, const Session &session, const Holder &holder) {
  if (claim_field(c, session)) {  // made since, or one that the server does not remove
    require_free(c, session);
    return;
  }
  Objects node(c, 0);
  node.add(session.new_object(Prefix(c, session).own_name(0), KindNode));
  set(node[0], KELP2_FIELD_DESCRIPTION, holder.field());
  session.modify(Insert, c.server.database, node);
  const std::optional<Holder> found = holder_of(claim_field(c, session).value_or(""));
  if (found && !found->same_process(holder)) refuse(c, found->words());
}

namespace {

// Through one session, until something goes wrong; false once the node is not ours any more.
bool renew(Context &c, Holder &holder) {
  const Session session(c);
  const std::string parent = c.server.database;
  while (true) {
    Objects node = session.objects(Names{Prefix(c, session).full_name(0)});
    if (node.errors[0] != 0) return false;
    const std::optional<Holder> found = holder_of(description(node[0]));
    if (found && !found->same_process(holder)) return false;
    ++holder.count;
    set(node[0], KELP2_FIELD_DESCRIPTION, holder.field());
    session.modify(Update, parent, node);
    wait_readable({}, kRenewMilliseconds);
  }
}

}  // namespace

void keep_claim(Context &c, const Holder &holder) {
  Holder counted = holder;
  for (bool ours = true; ours;) {
    try {
      ours = renew(c, counted);
    } catch (const CallFailed &) {
      wait_readable({}, kRenewMilliseconds);
    }
  }
}

}  // namespace kelpcheck
