// A host application for tests that need a process of their own: it links the library as
// an application would and runs one scenario against a server.
//
//   pelorin_test_host <scenario> <storage folder> <server base URL>
//
// Scenarios:
//   exit-return   writes, starts a page view and returns from main while it is in flight
//   exit-call     the same, but leaves through std::exit
//   write         writes property k<pid>_<i> = v<i> every few milliseconds, printing
//                 "wrote <name>" after each, until killed; every kClickEvery-th write
//                 also counts a click of interaction "i1", every kPageViewEvery-th
//                 starts a page view (so the server's answers rewrite the id and cache)
//   flush         starts on the folder, lets the client send what it has, prints the
//                 profile identifier and exits
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <unistd.h>

#include "pelorin/pelorin_client.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/main_loop.h"
#include "pelorin/platform/platform.h"

namespace {

using namespace std::chrono_literals;

constexpr auto kSyncInterval = 50ms;
// Must match the test that reads the output.
constexpr int kClickEvery = 7;
constexpr int kPageViewEvery = 25;

pelorin::platform::MainLoop& installPlatform(const std::string& storage,
                                             const std::string& server) {
  auto bundle = std::make_unique<pelorin::platform::HeadlessBundle>();
  bundle->set("pl_server_url", pelorin::JsonValue(boost::json::value(server)));
  bundle->set("CFBundleIdentifier", pelorin::JsonValue(boost::json::value("com.example.host")));
  auto platform = std::make_unique<pelorin::Platform>();
  platform->setBundle(std::move(bundle));
  platform->setFileSystem(std::make_unique<pelorin::platform::PosixFileSystem>(storage));
  auto loop = std::make_unique<pelorin::platform::MainLoop>();
  auto& loopRef = *loop;
  platform->setMainThread(std::move(loop));
  platform->setSyncInterval(kSyncInterval);
  pelorin::Platform::install(std::move(platform));
  return loopRef;
}

int exitWhileInFlight(pelorin::platform::MainLoop& loop, bool callExit) {
  auto& client = pelorin::PelorinClient::getInstance();
  client.setProfileValue("city", "Utrecht");
  client.createEvent("PAGEVIEW", pelorin::JsonValue::parse(R"({"screenName":"home"})"));
  loop.runFor(3 * kSyncInterval);  // a tick falls due while the page view is in flight
  std::printf("leaving\n");
  std::fflush(stdout);
  if (callExit) std::exit(0);
  return 0;
}

int writeSteadily(pelorin::platform::MainLoop& loop) {
  auto& client = pelorin::PelorinClient::getInstance();
  // Names carry the process id, so the writes of every run are told apart.
  const std::string prefix = "k" + std::to_string(::getpid()) + "_";
  for (int i = 0;; ++i) {
    client.setProfileValue(prefix + std::to_string(i), "v" + std::to_string(i));
    if (i % kClickEvery == 0) {
      client.createEvent("CLICK", pelorin::JsonValue::parse(R"({"interactionId":"i1"})"));
    }
    if (i % kPageViewEvery == 0) {
      client.createEvent("PAGEVIEW", pelorin::JsonValue::parse(R"({"screenName":"home"})"));
    }
    std::printf("wrote %s%d\n", prefix.c_str(), i);
    std::fflush(stdout);
    loop.runFor(5ms);
  }
}

int flush(pelorin::platform::MainLoop& loop) {
  auto& client = pelorin::PelorinClient::getInstance();
  // A page-view style sync sends what the commit logs hold even when nothing new was
  // written since the last start. Its completion ends the wait, however loaded the machine.
  bool sent = false;
  client.updateProfile([&] {
    sent = true;
    loop.stop();
  });
  loop.runFor(30s);
  if (!sent) {
    std::printf("not sent\n");
    return 1;
  }
  // A few ticks store the emptied logs, so the next run does not send them again.
  for (int i = 0; i < 3; ++i) loop.runFor(kSyncInterval);
  std::printf("profile %s\n", client.getProfileId().value_or("").c_str());
  std::fflush(stdout);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s <scenario> <storage folder> <server base URL>\n", argv[0]);
    return 2;
  }
  const std::string scenario = argv[1];
  auto& loop = installPlatform(argv[2], argv[3]);
  if (scenario == "exit-return") return exitWhileInFlight(loop, false);
  if (scenario == "exit-call") return exitWhileInFlight(loop, true);
  if (scenario == "write") return writeSteadily(loop);
  if (scenario == "flush") return flush(loop);
  std::fprintf(stderr, "unknown scenario %s\n", scenario.c_str());
  return 2;
}
