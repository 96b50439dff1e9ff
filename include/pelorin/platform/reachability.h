// Whether the device can reach a network at all, asked before every server exchange.
//
// Thread safety: every class here may be used from any thread.
#ifndef PELORIN_PLATFORM_REACHABILITY_H_
#define PELORIN_PLATFORM_REACHABILITY_H_

#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pelorin/export.h"

namespace pelorin::platform {

struct PELORIN_EXPORT ReachabilityFlags {
  // A route to the network exists.
  bool reachable = false;
  // The route exists only once a connection is established on demand (e.g. a dial-up or
  // VPN-on-demand link), so right now nothing would get through.
  bool connectionRequired = false;

  friend bool operator==(const ReachabilityFlags&, const ReachabilityFlags&) = default;
};

class PELORIN_EXPORT Reachability {
 public:
  virtual ~Reachability() = default;
  // The flags for "any address", or nothing when they cannot be read.
  virtual std::optional<ReachabilityFlags> flags() const = 0;
};

// A network interface as the reachability check sees it.
struct PELORIN_EXPORT NetworkInterface {
  std::string name;
  bool up = false;
  bool running = false;
  bool loopback = false;
  bool hasAddress = false;  // an IPv4 or IPv6 address is assigned
};

// Answers from the routing table and the interfaces of a Linux (or other posix) host:
//  - reachable when a default route (IPv4 or IPv6) leads through an interface that is up
//    and running; where no routing table can be read, when any interface other than
//    loopback is up, running and has an address;
//  - reachable also when the configured server ("pl_server_url") is on a loopback address
//    ("localhost", 127.0.0.0/8, ::1) and the loopback interface is up, so the embedded
//    devserver works on a machine without a network;
//  - connection required is never set: Linux has no on-demand links to wait for;
//  - nothing when the interfaces cannot be listed.
class PELORIN_EXPORT PosixReachability : public Reachability {
 public:
  struct Sources {
    std::filesystem::path routeTable = "/proc/net/route";
    std::filesystem::path ipv6RouteTable = "/proc/net/ipv6_route";
    // The host's interfaces; nothing when they cannot be listed. Defaults to getifaddrs.
    std::function<std::optional<std::vector<NetworkInterface>>()> interfaces;
    // The configured server address. Defaults to "pl_server_url" of the current platform's
    // information dictionary.
    std::function<std::string()> serverUrl;
  };

  PosixReachability();
  explicit PosixReachability(Sources sources);

  std::optional<ReachabilityFlags> flags() const override;

  // The interfaces of this host, from getifaddrs; nothing when it fails.
  static std::optional<std::vector<NetworkInterface>> systemInterfaces();
  // True when `url`'s host is "localhost", in 127.0.0.0/8 or "::1".
  static bool isLoopbackUrl(std::string_view url);

 private:
  Sources _sources;
};

// Gives whatever it was last told: for tests, and for hosts that know better.
class PELORIN_EXPORT FixedReachability : public Reachability {
 public:
  explicit FixedReachability(std::optional<ReachabilityFlags> flags = ReachabilityFlags{
                                 .reachable = true, .connectionRequired = false});

  std::optional<ReachabilityFlags> flags() const override;
  void set(std::optional<ReachabilityFlags> flags);

 private:
  mutable std::mutex _mutex;
  std::optional<ReachabilityFlags> _flags;
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_REACHABILITY_H_
