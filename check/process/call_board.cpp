#include "process/call_board.h"

#include <sys/wait.h>

#include <cstring>

#include "result/clock.h"
#include "result/text.h"

namespace kelpcheck {

bool CallBoard::overdue(double seconds) const {
  const int64_t begin = started.load();
  return begin != 0 && seconds_since(begin) > seconds;
}

std::string CallBoard::overdue_text(double seconds) const {
  return text(operation_name(), " did not return within ", seconds, " s");
}

std::string CallBoard::end_text(int status) const {
  const bool in_call = started.load() != 0;
  const std::string place = text(in_call ? " in " : " after ", operation_name());
  if (WIFSIGNALED(status)) return text("crashed", place, ": ", strsignal(WTERMSIG(status)));
  return text("the process ended itself", place, ", with status ", WEXITSTATUS(status));
}

}  // namespace kelpcheck
