#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "pelorin/platform/reachability.h"
#include "support/temp_folder.h"
#include "support/test_platform.h"

namespace pelorin::platform {
namespace {

using pelorin::testing::TempFolder;

constexpr const char* kRouteHeader =
    "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";
constexpr const char* kDefaultViaEth0 =
    "eth0\t00000000\t010200C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n";
constexpr const char* kSubnetOnEth0 =
    "eth0\t000200C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n";
// The "unreachable" default route the kernel keeps on lo.
constexpr const char* kIpv6RejectOnLo =
    "00000000000000000000000000000000 00 00000000000000000000000000000000 00 "
    "00000000000000000000000000000000 ffffffff 00000001 00000000 00200200       lo\n";
constexpr const char* kIpv6DefaultViaEth0 =
    "00000000000000000000000000000000 00 00000000000000000000000000000000 00 "
    "fd000000000000000000000000000001 00000400 00000002 00000000 00000003     eth0\n";

const NetworkInterface kLoopback{
    .name = "lo", .up = true, .running = true, .loopback = true, .hasAddress = true};
const NetworkInterface kEth0Running{
    .name = "eth0", .up = true, .running = true, .loopback = false, .hasAddress = true};
const NetworkInterface kEth0Down{
    .name = "eth0", .up = false, .running = false, .loopback = false, .hasAddress = true};

class PosixReachabilityTest : public ::testing::Test {
 protected:
  // A reachability check over the given tables (absent files when nullopt).
  PosixReachability with(std::optional<std::string> routes, std::optional<std::string> ipv6Routes,
                         const std::vector<NetworkInterface>& interfaces,
                         const std::string& serverUrl = "https://api.example.com") {
    PosixReachability::Sources sources;
    sources.routeTable = std::filesystem::path(_folder.path()) / "route";
    sources.ipv6RouteTable = std::filesystem::path(_folder.path()) / "ipv6_route";
    if (routes) std::ofstream(sources.routeTable) << *routes;
    if (ipv6Routes) std::ofstream(sources.ipv6RouteTable) << *ipv6Routes;
    sources.interfaces = [interfaces] { return std::optional(interfaces); };
    sources.serverUrl = [serverUrl] { return serverUrl; };
    return PosixReachability(std::move(sources));
  }

  static ReachabilityFlags reachable() { return {.reachable = true, .connectionRequired = false}; }
  static ReachabilityFlags unreachable() {
    return {.reachable = false, .connectionRequired = false};
  }

  TempFolder _folder;
};

TEST_F(PosixReachabilityTest, DefaultRouteThroughRunningInterfaceIsReachable) {
  auto check = with(std::string(kRouteHeader) + kSubnetOnEth0 + kDefaultViaEth0, "",
                    {kLoopback, kEth0Running});
  EXPECT_EQ(check.flags(), reachable());
}

TEST_F(PosixReachabilityTest, DefaultRouteThroughInterfaceThatIsDownIsNotReachable) {
  auto check = with(std::string(kRouteHeader) + kDefaultViaEth0, "", {kLoopback, kEth0Down});
  EXPECT_EQ(check.flags(), unreachable());
}

TEST_F(PosixReachabilityTest, InterfaceUpButNotRunningIsNotReachable) {
  NetworkInterface noCarrier = kEth0Running;
  noCarrier.running = false;
  auto check = with(std::string(kRouteHeader) + kDefaultViaEth0, "", {kLoopback, noCarrier});
  EXPECT_EQ(check.flags(), unreachable());
}

TEST_F(PosixReachabilityTest, WithoutDefaultRouteIsNotReachable) {
  auto check =
      with(std::string(kRouteHeader) + kSubnetOnEth0, kIpv6RejectOnLo, {kLoopback, kEth0Running});
  EXPECT_EQ(check.flags(), unreachable());
}

TEST_F(PosixReachabilityTest, DefaultRouteThatIsNotUpDoesNotCount) {
  auto check = with(
      std::string(kRouteHeader) + "eth0\t00000000\t010200C0\t0002\t0\t0\t0\t00000000\t0\t0\t0\n",
      "", {kLoopback, kEth0Running});
  EXPECT_EQ(check.flags(), unreachable());
}

TEST_F(PosixReachabilityTest, Ipv6DefaultRouteCounts) {
  auto check = with(kRouteHeader, std::string(kIpv6RejectOnLo) + kIpv6DefaultViaEth0,
                    {kLoopback, kEth0Running});
  EXPECT_EQ(check.flags(), reachable());
}

TEST_F(PosixReachabilityTest, MalformedRouteLinesAreSkipped) {
  auto check = with(
      std::string(kRouteHeader) + "eth0 00000000\n" + "eth0\t00000000\t0\tzz\t0\t0\t0\t00000000\n",
      "short line\n", {kLoopback, kEth0Running});
  EXPECT_EQ(check.flags(), unreachable());
}

TEST_F(PosixReachabilityTest, LoopbackServerIsReachableWithoutANetwork) {
  auto check = with(kRouteHeader, "", {kLoopback, kEth0Down}, "http://127.0.0.1:8080");
  EXPECT_EQ(check.flags(), reachable());
}

TEST_F(PosixReachabilityTest, LoopbackServerWithLoopbackDownIsNotReachable) {
  NetworkInterface loopbackDown = kLoopback;
  loopbackDown.up = false;
  auto check = with(kRouteHeader, "", {loopbackDown}, "http://localhost:8080");
  EXPECT_EQ(check.flags(), unreachable());
}

TEST_F(PosixReachabilityTest, OtherServerNeedsARoute) {
  auto check = with(kRouteHeader, "", {kLoopback}, "https://api.example.com");
  EXPECT_EQ(check.flags(), unreachable());
}

TEST_F(PosixReachabilityTest, WithoutRoutingTablesARunningInterfaceWithAddressCounts) {
  EXPECT_EQ(with(std::nullopt, std::nullopt, {kLoopback, kEth0Running}).flags(), reachable());
  NetworkInterface noAddress = kEth0Running;
  noAddress.hasAddress = false;
  EXPECT_EQ(with(std::nullopt, std::nullopt, {kLoopback, noAddress}).flags(), unreachable());
  EXPECT_EQ(with(std::nullopt, std::nullopt, {kLoopback}).flags(), unreachable());
}

TEST_F(PosixReachabilityTest, InterfacesThatCannotBeListedGiveNoFlags) {
  PosixReachability::Sources sources;
  sources.interfaces = [] { return std::optional<std::vector<NetworkInterface>>(); };
  sources.serverUrl = [] { return std::string("http://127.0.0.1"); };
  EXPECT_EQ(PosixReachability(std::move(sources)).flags(), std::nullopt);
}

TEST_F(PosixReachabilityTest, ServerUrlComesFromTheInformationDictionary) {
  pelorin::testing::TestPlatform test;
  test.bundle().set("pl_server_url", JsonValue("http://localhost:4000/"));
  PosixReachability::Sources sources;
  sources.routeTable = std::filesystem::path(_folder.path()) / "missing";
  sources.ipv6RouteTable = std::filesystem::path(_folder.path()) / "missing6";
  sources.interfaces = [] { return std::optional(std::vector<NetworkInterface>{kLoopback}); };
  PosixReachability check(std::move(sources));

  EXPECT_EQ(check.flags(), reachable());
  test.bundle().set("pl_server_url", JsonValue("https://api.example.com"));
  EXPECT_EQ(check.flags(), unreachable());
}

TEST(PosixReachabilityUrlTest, LoopbackUrls) {
  EXPECT_TRUE(PosixReachability::isLoopbackUrl("http://127.0.0.1:8080/x"));
  EXPECT_TRUE(PosixReachability::isLoopbackUrl("http://127.1.2.3"));
  EXPECT_TRUE(PosixReachability::isLoopbackUrl("http://localhost"));
  EXPECT_TRUE(PosixReachability::isLoopbackUrl("HTTPS://LOCALHOST:443"));
  EXPECT_TRUE(PosixReachability::isLoopbackUrl("http://[::1]:8080/"));
  EXPECT_TRUE(PosixReachability::isLoopbackUrl("http://user@127.0.0.1/"));
  EXPECT_TRUE(PosixReachability::isLoopbackUrl("127.0.0.1:80"));
}

TEST(PosixReachabilityUrlTest, OtherUrls) {
  EXPECT_FALSE(PosixReachability::isLoopbackUrl(""));
  EXPECT_FALSE(PosixReachability::isLoopbackUrl("https://api.example.com"));
  EXPECT_FALSE(PosixReachability::isLoopbackUrl("http://127.0.0.1.example.com"));
  EXPECT_FALSE(PosixReachability::isLoopbackUrl("http://localhost.example.com"));
  EXPECT_FALSE(PosixReachability::isLoopbackUrl("http://[::2]/"));
  EXPECT_FALSE(PosixReachability::isLoopbackUrl("http://10.0.0.1"));
}

TEST(PosixReachabilitySystemTest, ListsTheLoopbackInterface) {
  auto interfaces = PosixReachability::systemInterfaces();
  ASSERT_TRUE(interfaces.has_value());
  EXPECT_TRUE(std::ranges::any_of(*interfaces, [](const NetworkInterface& interface) {
    return interface.loopback && interface.up;
  }));
}

TEST(FixedReachabilityTest, AnswersWhatItWasLastTold) {
  FixedReachability reachability;
  EXPECT_EQ(reachability.flags(),
            (ReachabilityFlags{.reachable = true, .connectionRequired = false}));
  reachability.set(std::nullopt);
  EXPECT_EQ(reachability.flags(), std::nullopt);
  reachability.set(ReachabilityFlags{.reachable = true, .connectionRequired = true});
  EXPECT_EQ(reachability.flags(),
            (ReachabilityFlags{.reachable = true, .connectionRequired = true}));
}

}  // namespace
}  // namespace pelorin::platform
