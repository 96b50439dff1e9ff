#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <sstream>

#include "pelorin/platform/platform.h"
#include "pelorin/platform/reachability.h"

namespace pelorin::platform {
namespace {

constexpr std::uint32_t kRouteUp = 0x0001;      // RTF_UP
constexpr std::uint32_t kRouteReject = 0x0200;  // RTF_REJECT: an "unreachable" route

std::string configuredServerUrl() {
  auto value = Platform::current().bundle().objectForInfoDictionaryKey("pl_server_url");
  return value ? value->string() : std::string();
}

std::optional<std::uint32_t> parseHex(const std::string& text) {
  std::uint32_t value = 0;
  const char* end = text.data() + text.size();
  auto [next, error] = std::from_chars(text.data(), end, value, 16);
  if (error != std::errc() || next != end) return std::nullopt;
  return value;
}

// Interfaces that default routes in `path` lead through; nothing when it cannot be read.
// `ipv6` selects the layout of /proc/net/ipv6_route over that of /proc/net/route.
std::optional<std::vector<std::string>> defaultRouteInterfaces(const std::filesystem::path& path,
                                                               bool ipv6) {
  std::ifstream in(path);
  if (!in) return std::nullopt;
  std::vector<std::string> names;
  std::string line;
  bool header = !ipv6;
  while (std::getline(in, line)) {
    if (header) {
      header = false;
      continue;
    }
    std::istringstream fields(line);
    std::vector<std::string> columns;
    for (std::string column; fields >> column;) columns.push_back(column);
    if (ipv6) {
      // destination, prefix length, source, source prefix, next hop, metric, refs, use,
      // flags, interface
      if (columns.size() < 10) continue;
      auto flags = parseHex(columns[8]);
      if (columns[0] != std::string(32, '0') || columns[1] != "00" || !flags) continue;
      if ((*flags & kRouteUp) == 0 || (*flags & kRouteReject) != 0) continue;
      names.push_back(columns[9]);
    } else {
      // interface, destination, gateway, flags, refs, use, metric, mask, ...
      if (columns.size() < 8) continue;
      auto flags = parseHex(columns[3]);
      if (columns[1] != "00000000" || columns[7] != "00000000" || !flags) continue;
      if ((*flags & kRouteUp) == 0 || (*flags & kRouteReject) != 0) continue;
      names.push_back(columns[0]);
    }
  }
  return names;
}

// The host part of a URL: "https://[::1]:8080/x" gives "::1".
std::string_view urlHost(std::string_view url) {
  if (auto scheme = url.find("://"); scheme != std::string_view::npos) {
    url.remove_prefix(scheme + 3);
  }
  url = url.substr(0, url.find_first_of("/?#"));
  if (auto at = url.rfind('@'); at != std::string_view::npos) url.remove_prefix(at + 1);
  if (url.starts_with('[')) {
    auto close = url.find(']');
    return close == std::string_view::npos ? url.substr(1) : url.substr(1, close - 1);
  }
  return url.substr(0, url.find(':'));
}

bool isLoopbackIpv4(std::string_view host) {
  if (!host.starts_with("127.")) return false;
  int dots = 0;
  for (char c : host) {
    if (c == '.') {
      ++dots;
    } else if (c < '0' || c > '9') {
      return false;
    }
  }
  return dots == 3;
}

}  // namespace

PosixReachability::PosixReachability() : PosixReachability(Sources{}) {}

PosixReachability::PosixReachability(Sources sources) : _sources(std::move(sources)) {
  if (!_sources.interfaces) _sources.interfaces = &PosixReachability::systemInterfaces;
  if (!_sources.serverUrl) _sources.serverUrl = &configuredServerUrl;
}

std::optional<ReachabilityFlags> PosixReachability::flags() const {
  const auto interfaces = _sources.interfaces();
  if (!interfaces) return std::nullopt;
  auto upAndRunning = [&](std::string_view name) {
    return std::ranges::any_of(*interfaces, [&](const NetworkInterface& interface) {
      return interface.name == name && interface.up && interface.running;
    });
  };

  ReachabilityFlags flags;
  if (isLoopbackUrl(_sources.serverUrl())) {
    flags.reachable = std::ranges::any_of(*interfaces, [](const NetworkInterface& interface) {
      return interface.loopback && interface.up;
    });
    if (flags.reachable) return flags;
  }

  bool readTable = false;
  for (bool ipv6 : {false, true}) {
    auto names = defaultRouteInterfaces(ipv6 ? _sources.ipv6RouteTable : _sources.routeTable, ipv6);
    if (!names) continue;
    readTable = true;
    if (std::ranges::any_of(*names, upAndRunning)) {
      flags.reachable = true;
      return flags;
    }
  }
  if (!readTable) {
    flags.reachable = std::ranges::any_of(*interfaces, [](const NetworkInterface& interface) {
      return !interface.loopback && interface.up && interface.running && interface.hasAddress;
    });
  }
  return flags;
}

std::optional<std::vector<NetworkInterface>> PosixReachability::systemInterfaces() {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return std::nullopt;
  std::vector<NetworkInterface> interfaces;
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_name == nullptr) continue;
    auto found =
        std::ranges::find(interfaces, std::string_view(entry->ifa_name), &NetworkInterface::name);
    if (found == interfaces.end()) {
      interfaces.push_back(NetworkInterface{.name = entry->ifa_name});
      found = std::prev(interfaces.end());
    }
    found->up = found->up || (entry->ifa_flags & IFF_UP) != 0;
    found->running = found->running || (entry->ifa_flags & IFF_RUNNING) != 0;
    found->loopback = found->loopback || (entry->ifa_flags & IFF_LOOPBACK) != 0;
    if (entry->ifa_addr != nullptr &&
        (entry->ifa_addr->sa_family == AF_INET || entry->ifa_addr->sa_family == AF_INET6)) {
      found->hasAddress = true;
    }
  }
  freeifaddrs(list);
  return interfaces;
}

bool PosixReachability::isLoopbackUrl(std::string_view url) {
  std::string host(urlHost(url));
  std::ranges::transform(host, host.begin(), [](char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return host == "localhost" || host == "::1" || isLoopbackIpv4(host);
}

FixedReachability::FixedReachability(std::optional<ReachabilityFlags> flags) : _flags(flags) {}

std::optional<ReachabilityFlags> FixedReachability::flags() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _flags;
}

void FixedReachability::set(std::optional<ReachabilityFlags> flags) {
  std::lock_guard<std::mutex> lock(_mutex);
  _flags = flags;
}

}  // namespace pelorin::platform
