#include "process/machine.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>

namespace kelpcheck {

namespace {

// What a program prints, given one argument; empty if it cannot be run or fails.
std::string output_of(const char *program, const std::string &argument) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return "";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::string name = program, option = "--", value = argument;
  std::array<char *, 4> arguments = {name.data(), option.data(), value.data(), nullptr};
  pid_t process = -1;
  const int error = posix_spawnp(&process, program, &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  std::string output;
  std::array<char, 4096> buffer{};
  for (ssize_t n; error == 0 && (n = read(ends[0], buffer.data(), buffer.size())) > 0;) {
    output.append(buffer.data(), static_cast<size_t>(n));
  }
  close(ends[0]);
  int status = 1;
  if (error == 0) waitpid(process, &status, 0);
  return status == 0 ? output : "";
}

}  // namespace

std::string library_path() {
  Dl_info info{};
  void *operation = dlsym(RTLD_DEFAULT, "kelp2_init");
  return operation != nullptr && dladdr(operation, &info) != 0 ? info.dli_fname : "";
}

JudgedLibrary judged_library() {
  constexpr size_t digits = 64;
  JudgedLibrary library;
  std::error_code error;
  const std::string path = library_path();
  const std::filesystem::path real = std::filesystem::canonical(path, error);
  library.path = error ? path : real.string();
  const auto size = std::filesystem::file_size(library.path, error);
  if (error) return library;
  library.size = static_cast<int64_t>(size);
  // A backslash before the sum says that the name had to be written in another way.
  const std::string line = output_of("sha256sum", library.path);
  const size_t begin = line.starts_with('\\') ? 1 : 0;
  if (line.size() > begin + digits) library.sha256 = line.substr(begin, digits);
  return library;
}

std::string machine_name() {
  std::array<char, 256> name{};
  gethostname(name.data(), name.size() - 1);
  return name.data();
}

}  // namespace kelpcheck
