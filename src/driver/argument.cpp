// Options are a letter and a value in one argument ("-H127.0.0.1"). Every value is taken as it is:
// what an odd one means is decided where it is used.
#include "driver/argument.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>

Argument argument_;

namespace {

// Seeds the generator for the continuous writer before main, right after argument_ exists.
[[maybe_unused]] const bool seeded = [] {
  std::srand(static_cast<unsigned>(std::time(nullptr)));
  return true;
}();

// Like atoi, but a number beyond the range of int32 becomes the nearest end of it.
int32_t to_number(const char *text) {
  using Limits = std::numeric_limits<int32_t>;
  const long long number = std::strtoll(text, nullptr, 10);
  return static_cast<int32_t>(std::clamp<long long>(number, Limits::min(), Limits::max()));
}

constexpr size_t shortest_time_text = 12;

bool set_time(int32_t &field, const char *value) {
  if (std::strlen(value) < shortest_time_text) return false;
  field = stringToTime(value);
  return true;
}

void set_point_type(const char *value) {
  const int32_t type = to_number(value);
  if (type >= AX && type <= R8) argument_.point_type = type;
}

bool apply_option(char letter, const char *value) {
  switch (std::toupper(static_cast<unsigned char>(letter))) {
    case 'B': return set_time(argument_.begin_time, value);
    case 'C': argument_.port = to_number(value); return true;
    case 'D': argument_.database = value; return true;
    case 'E': return set_time(argument_.end_time, value);
    case 'H': argument_.host = value; return true;
    case 'L': argument_.buf_route = value; return true;
    case 'N': argument_.node_num = to_number(value); return true;
    case 'O': argument_.option = to_number(value); return true;
    case 'P': argument_.password = value; return true;
    case 'S': argument_.buf_size = to_number(value); return true;
    case 'T': set_point_type(value); return true;
    case 'U': argument_.user = value; return true;
    case 'X': argument_.point_num = to_number(value); return true;
    default: return false;
  }
}

}  // namespace

bool analyze_args(int argc, char **argv) {
  if (argc == 2 && std::strncmp(argv[1], "--help", 6) == 0) {
    help();
    std::exit(0);
  }
  for (int i = 1; i < argc; ++i) {
    if (std::strlen(argv[i]) < 2) return false;
    if (!apply_option(argv[i][1], argv[i] + 2)) return false;
  }
  return true;
}

void help() {
  std::fputs(
      "kelpdemo [OPTION]...\n"
      "-O, option;   ag:-O8\n"
      "-H, hostname; ag:-H127.0.0.1\n"
      "-C, port;     ag:-C8200\n"
      "-U, user;     ag:-Utov\n"
      "-P, password; ag:-Priverbank\n"
      "-L, kelpbuf's route; ag:-L/tmp/kelpbuf\n"
      "-S, kelpbuf's size; ag:-S100\n"
      "-D, database's name; ag:-DW3\n"
      "-N, node num; ag:-N1\n"
      "-X, point num; ag:-X50\n"
      "-B, begin time; ag:-B20130307120000\n"
      "-E, end time; ag:-E20130307130000\n"
      "-T, insert point type(AX,DX,I2,I4,R8); ag:-T32  (32 is 'AX')\n"
      "\n",
      stdout);
}

int32_t stringToTime(const std::string &text) {
  const auto field = [&text](size_t position, size_t length) {
    if (position >= text.size()) return 0;
    return to_number(text.substr(position, length).c_str());
  };
  return kelp2_encode_time(field(0, 4), field(4, 2), field(6, 2), field(8, 2), field(10, 2),
                           field(12, 2));
}
