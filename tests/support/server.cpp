#include "support/server.h"

#include <arpa/inet.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <stdexcept>

namespace kelptest {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Command = std::vector<std::string>;

// The folder of the newest version's programs; empty without one.
std::string program_folder() {
  int newest = 0;
  std::error_code none;
  for (const auto &entry : fs::directory_iterator("/usr/lib/postgresql", none)) {
    if (!fs::exists(entry.path() / "bin/postgres")) continue;
    newest = std::max(newest, std::atoi(entry.path().filename().c_str()));
  }
  return newest == 0 ? "" : "/usr/lib/postgresql/" + std::to_string(newest) + "/bin";
}

// The user to run servers as; null if this process is not root and can run them itself.
const passwd *server_user() {
  if (geteuid() != 0) return nullptr;
  const passwd *user = getpwnam("postgres");
  return user ? user : getpwnam("nobody");
}

// The command line that runs a program of PostgreSQL in a folder as the server's user; the program
// is interrupted when the test dies.
Command as_server(const std::string &folder, const Command &command) {
  Command result{"env", "-C", folder, "setpriv", "--pdeathsig", "INT"};
  if (const passwd *user = server_user()) {
    result.push_back("--reuid=" + std::to_string(user->pw_uid));
    result.push_back("--regid=" + std::to_string(user->pw_gid));
    result.push_back("--clear-groups");
  }
  result.push_back(program_folder() + "/" + command[0]);
  result.insert(result.end(), command.begin() + 1, command.end());
  return result;
}

// An initialised cluster to copy, made once: copying takes a tenth of the time.
const std::string &cluster_template() {
  static const TempFolder folder;
  static const std::string data = [] {
    Server::give_to_server(folder.path());
    run(as_server(folder.path(),
                  {"initdb", "-D", folder.path("data"), "-U", "postgres", "--auth-local=trust",
                   "--auth-host=scram-sha-256", "--no-locale", "-E", "UTF8", "--no-sync"}));
    return folder.path("data");
  }();
  return data;
}

pid_t parent_of(const fs::path &process) {
  std::string line;
  std::getline(std::ifstream(process / "stat"), line);
  // The name, in parentheses, may hold anything; the state and the parent come after it.
  std::istringstream rest(line.substr(std::min(line.size(), line.rfind(')') + 1)));
  char state = 0;
  pid_t parent = 0;
  rest >> state >> parent;
  return parent;
}

}  // namespace

int free_port() {
  std::mt19937 random{std::random_device()()};
  for (;;) {
    const int port = std::uniform_int_distribution(10000, 30000)(random);
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};  // of any interface: free on every address of the loopback
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    const bool free = bind(probe, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    close(probe);
    if (free) return port;
  }
}

bool Server::available() {
  return !program_folder().empty() && (geteuid() != 0 || server_user() != nullptr);
}

bool Server::has_extension(const std::string &name) {
  std::string shared = run({program_folder() + "/pg_config", "--sharedir"});
  shared.erase(shared.find_last_not_of('\n') + 1);
  return fs::exists(shared + "/extension/" + name + ".control");
}

void Server::give_to_server(const std::string &folder) {
  const passwd *user = server_user();
  if (user && chown(folder.c_str(), user->pw_uid, user->pw_gid) != 0) {
    throw std::runtime_error("cannot give away " + folder);
  }
}

Server::Server(const std::vector<std::string> &settings)
    : host_("127.0.0.1"), port_(free_port()), settings_(settings) {
  run({"cp", "-a", cluster_template(), folder_.path("data")});
  give_to_server(folder_.path());
  start();
  create_login(user());
}

Server::Server(const Server &primary, Standby) : host_("127.0.0.2"), port_(primary.port_) {
  give_to_server(folder_.path());
  run(as_server(folder_.path(),
                {"pg_basebackup", "-h", primary.folder_.path(), "-p", std::to_string(port_), "-U",
                 "postgres", "-D", folder_.path("data"), "-R", "-c", "fast", "--no-sync"}));
  start();
}

// Orderly where possible: a server that is killed leaves its shared memory to the system.
Server::~Server() {
  if (!postmaster_) return;
  thaw();
  postmaster_->signal(SIGQUIT);
  if (postmaster_->wait(10s)) return;
  kill_hard();
}

void Server::start() {
  Command command{"postgres",
                  "-D",
                  folder_.path("data"),
                  "-p",
                  std::to_string(port_),
                  "-c",
                  "listen_addresses=" + host_,
                  "-k",
                  folder_.path()};
  for (const std::string &setting : settings_) {
    command.push_back("-c");
    command.push_back(setting);
  }
  postmaster_ = std::make_unique<Process>(as_server(folder_.path(), command));
  const bool started = wait_for(30s, [&] { return postmaster_->wait(0s) || ready(); }) && ready();
  if (!started) throw std::runtime_error("PostgreSQL does not start: " + postmaster_->errors());
}

// The first line of this file is the postmaster's process id, the eighth its state.
bool Server::ready() const {
  std::ifstream file(folder_.path("data/postmaster.pid"));
  std::vector<std::string> lines(8);
  for (std::string &line : lines) std::getline(file, line);
  return lines[0] == std::to_string(postmaster_->pid()) && lines[7].starts_with("ready");
}

void Server::stop() {
  postmaster_->signal(SIGINT);
  if (!postmaster_->wait(30s)) throw std::runtime_error("PostgreSQL does not stop");
  postmaster_.reset();
}

void Server::kill_hard() {
  if (!postmaster_) return;
  freeze();  // so that the postmaster makes no new processes meanwhile
  signal(SIGKILL);
  postmaster_->wait(30s);
  postmaster_.reset();
}

// To the postmaster and its children, which are looked up first: they are nobody's once it is dead.
void Server::signal(int number) const {
  std::vector<pid_t> processes{postmaster_->pid()};
  for (const auto &entry : fs::directory_iterator("/proc")) {
    const pid_t process = std::atoi(entry.path().filename().c_str());
    if (process > 0 && parent_of(entry.path()) == processes[0]) processes.push_back(process);
  }
  for (const pid_t process : processes) kill(process, number);
}

std::string Server::sql(const std::string &statement, const std::string &database) const {
  std::string text =
      run({program_folder() + "/psql", "-XAtq", "-v", "ON_ERROR_STOP=1", "-h", folder_.path(), "-p",
           std::to_string(port_), "-U", "postgres", "-d", database, "-c", statement});
  while (text.ends_with('\n')) text.pop_back();
  return text;
}

void Server::run_script(const std::string &path, const std::string &database) const {
  run({program_folder() + "/psql", "-Xq", "-v", "ON_ERROR_STOP=1", "-h", folder_.path(), "-p",
       std::to_string(port_), "-U", "postgres", "-d", database, "-f", path});
}

std::vector<pid_t> Server::backends(const std::string &login) const {
  std::istringstream text(
      sql("SELECT pid FROM pg_stat_activity WHERE usename = '" + login + "' ORDER BY pid"));
  return {std::istream_iterator<pid_t>(text), {}};
}

void Server::create_login(const std::string &name, const std::string &options) const {
  sql("CREATE ROLE " + name + " LOGIN PASSWORD '" + password() + "'");
  sql("CREATE DATABASE " + name + " OWNER " + name + " " + options);
}

std::string Server::new_database(const std::string &options) {
  std::string name = "login" + std::to_string(++logins_);
  create_login(name, options);
  return name;
}

}  // namespace kelptest
