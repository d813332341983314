#include "load/local.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <cstring>

#include "process/machine.h"

namespace kelpcheck {

namespace {

std::string address_text(const sockaddr *address) {
  char text[INET6_ADDRSTRLEN] = "";
  if (address == nullptr) return "";
  if (address->sa_family == AF_INET) {
    sockaddr_in v4{};
    std::memcpy(&v4, address, sizeof v4);
    inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text);
  }
  if (address->sa_family == AF_INET6) {
    sockaddr_in6 v6{};
    std::memcpy(&v6, address, sizeof v6);
    inet_ntop(AF_INET6, &v6.sin6_addr, text, sizeof text);
  }
  return text;
}

bool is_own_address(const std::string &host) {
  ifaddrs *list = nullptr;
  if (getifaddrs(&list) != 0) return false;
  bool own = false;
  for (const ifaddrs *i = list; i != nullptr; i = i->ifa_next) {
    own = own || host == address_text(i->ifa_addr);
  }
  freeifaddrs(list);
  return own;
}

bool is_local(const std::string &host) {
  if (host.empty() || host.starts_with('/') || host.starts_with("127.")) return true;
  if (host == "localhost" || host == machine_name()) return true;
  return is_own_address(host);
}

}  // namespace

bool is_on_this_machine(const std::string &hosts) {
  if (hosts.starts_with("file:")) return true;
  for (size_t begin = 0; begin <= hosts.size();) {
    const size_t end = std::min(hosts.find(',', begin), hosts.size());
    if (is_local(hosts.substr(begin, end - begin))) return true;
    begin = end + 1;
  }
  return false;
}

}  // namespace kelpcheck
