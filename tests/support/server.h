// A private PostgreSQL server for tests: a cluster of its own in a temporary folder, on a loopback
// port of its own. The postmaster is a child of the test and runs as an unprivileged user, as
// PostgreSQL demands. However a test ends, its servers are gone: destroying one kills its
// processes, and a test that dies takes them with it.
#pragma once

#include <signal.h>

#include <memory>
#include <string>
#include <vector>

#include "support/process.h"

namespace kelptest {

class Server {
 public:
  // Whether PostgreSQL is installed and there is a user to run it as.
  static bool available();
  // Puts a folder into the hands of that user.
  static void give_to_server(const std::string &folder);

  // Whether an extension is installed beside it.
  static bool has_extension(const std::string &name);

  // An empty server with the one login user(), which owns the database of that name; each of the
  // settings is NAME=VALUE.
  explicit Server(const std::vector<std::string> &settings = {});
  // A standby that follows the primary, on another address and the same port.
  struct Standby {};
  Server(const Server &primary, Standby);
  ~Server();
  Server(const Server &) = delete;
  Server &operator=(const Server &) = delete;

  const std::string &host() const { return host_; }
  int port() const { return port_; }
  // Where it listens for clients on this machine, which need no password.
  std::string socket_folder() const { return folder_.path(); }
  std::string user() const { return "tov"; }
  std::string password() const { return "riverbank"; }

  // A fresh login with the password password(), and an empty database of the same name, which is
  // therefore the one that the login connects to. The options end the CREATE DATABASE.
  std::string new_database(const std::string &options = "");
  // What psql prints for the statement, run by a superuser: rows of values separated by '|'.
  std::string sql(const std::string &statement, const std::string &database = "postgres") const;
  // Runs a script with psql.
  void run_script(const std::string &path, const std::string &database) const;
  // All that it has logged since it was started.
  std::string log() const { return postmaster_->errors(); }
  // The server processes that serve a login.
  std::vector<pid_t> backends(const std::string &login) const;

  void start();
  void stop();       // cleanly, disconnecting everybody
  void kill_hard();  // as a power failure of the machine would, short of the disk's cache
  void freeze() const { signal(SIGSTOP); }
  void thaw() const { signal(SIGCONT); }
  void promote() const { sql("SELECT pg_promote()"); }

 private:
  void signal(int number) const;
  bool ready() const;
  void create_login(const std::string &name, const std::string &options = "") const;

  TempFolder folder_;
  std::string host_;
  int port_;
  std::vector<std::string> settings_;
  std::unique_ptr<Process> postmaster_;
  int logins_ = 0;
};

// A port on which nothing listens, below those that outgoing connections are given.
int free_port();

}  // namespace kelptest
