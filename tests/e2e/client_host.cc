// A host application for tests that need a process of their own: it links the library as
// an application would and runs one scenario against a server.
//
//   pelorin_test_host <scenario> <storage folder> <server base URL>
//
// Scenarios:
//   exit-return   writes, starts a page view and returns from main while it is in flight
//   exit-call     the same, but leaves through std::exit
//   restart       prints "started <stored profile id>", sends what the folder holds and
//                 prints "profile <id>", then writes until killed: property k<pid>_<i> =
//                 v<i> every few milliseconds and, for every fourth i, the value t<pid>_<i>
//                 added to "tags" and a click on the interaction "restart"; "wrote
//                 k<pid>_<i>" after each. Prints "stored <file>" after each file the
//                 library has replaced, so the test knows what reached the disk; waits
//                 for the library's writer after each run of the main loop, so each
//                 "stored" line comes before the next write.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include <unistd.h>

#include "client/client_testing.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/main_loop.h"
#include "pelorin/platform/platform.h"

namespace {

using namespace std::chrono_literals;

constexpr auto kSyncInterval = 50ms;

// Reports each file replaced, after the write returned: every line printed before it
// by the writing thread was in the state that was written.
class ReportingFileSystem : public pelorin::platform::FileSystemWrapper {
 public:
  using FileSystemWrapper::FileSystemWrapper;

  pelorin::platform::FileStatus writeFileAtomically(const std::string& path,
                                                    std::string_view contents) override {
    auto status = FileSystemWrapper::writeFileAtomically(path, contents);
    if (status.isOk()) {
      std::printf("stored %s\n", path.substr(path.rfind('/') + 1).c_str());
      std::fflush(stdout);
    }
    return status;
  }
};

pelorin::platform::MainLoop& installPlatform(const std::string& storage, const std::string& server,
                                             bool reportWrites) {
  auto bundle = std::make_unique<pelorin::platform::HeadlessBundle>();
  bundle->set("pl_server_url", pelorin::JsonValue(server));
  bundle->set("CFBundleIdentifier", pelorin::JsonValue("com.example.host"));
  auto platform = std::make_unique<pelorin::Platform>();
  platform->setBundle(std::move(bundle));
  auto files = std::make_unique<pelorin::platform::PosixFileSystem>(storage);
  if (reportWrites) {
    platform->setFileSystem(std::make_unique<ReportingFileSystem>(std::move(files)));
  } else {
    platform->setFileSystem(std::move(files));
  }
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

// Sends what an earlier run left, then writes until killed. The ticks run on this thread,
// between the writes, and their files are on disk before the next write, so the order of
// the printed lines is the order of the events.
int restart(pelorin::platform::MainLoop& loop) {
  auto& client = pelorin::PelorinClient::getInstance();
  std::printf("started %s\n", client.getProfileId().value_or("").c_str());
  std::fflush(stdout);
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
  std::printf("profile %s\n", client.getProfileId().value_or("").c_str());
  std::fflush(stdout);
  // The files of the ticks so far are stored before the first write.
  pelorin::ClientTesting::waitForWrites(client);
  const std::string pid = std::to_string(::getpid());
  const std::string property = "k" + pid + "_";
  const std::string tag = "t" + pid + "_";
  for (int i = 0;; ++i) {
    const std::string n = std::to_string(i);
    client.setProfileValue(property + n, "v" + n);
    if (i % 4 == 0) {
      client.addProfileValue("tags", tag + n);
      client.createEvent("CLICK", pelorin::JsonValue::parse(R"({"interactionId":"restart"})"));
    }
    std::printf("wrote k%s_%d\n", pid.c_str(), i);
    std::fflush(stdout);
    loop.runFor(5ms);
    pelorin::ClientTesting::waitForWrites(client);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s <scenario> <storage folder> <server base URL>\n", argv[0]);
    return 2;
  }
  const std::string scenario = argv[1];
  auto& loop = installPlatform(argv[2], argv[3], scenario == "restart");
  if (scenario == "exit-return") return exitWhileInFlight(loop, false);
  if (scenario == "exit-call") return exitWhileInFlight(loop, true);
  if (scenario == "restart") return restart(loop);
  std::fprintf(stderr, "unknown scenario %s\n", scenario.c_str());
  return 2;
}
