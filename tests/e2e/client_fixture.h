// A client talking to an in-process devserver over loopback, with the test's thread as
// the main thread and a pinned clock that drives the sync timer.
#ifndef PELORIN_TESTS_E2E_CLIENT_FIXTURE_H_
#define PELORIN_TESTS_E2E_CLIENT_FIXTURE_H_

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "client/client_testing.h"
#include "devserver/dev_server.h"
#include "pelorin/headless/toolkit.h"
#include "pelorin/pelorin_client.h"
#include "support/test_platform.h"

namespace pelorin::testing {

class ClientE2ETest : public ::testing::Test {
 protected:
  ClientE2ETest() : ClientE2ETest(devserver::DevServerOptions{}) {}
  // A server started with `options` (a configuration, for example).
  explicit ClientE2ETest(devserver::DevServerOptions options) : _server(std::move(options)) {
    EXPECT_TRUE(_server.start()) << _server.startError();
    _test.bundle().set("pl_server_url", JsonValue(_server.baseUrl() + "/"));
    _test.bundle().set("CFBundleIdentifier", JsonValue("com.example.shop"));
  }

  // The client, made with the shown screen (if any) as its current view controller.
  PelorinClient& client() {
    return _screen ? PelorinClient::getInstance(_screen) : PelorinClient::getInstance();
  }
  // Makes `screen` the key window's root and the client's context when it is created.
  void showScreen(const std::shared_ptr<headless::ViewController>& screen) {
    _screen = screen;
    _test.ui().setKeyWindowRootViewController(screen);
  }
  PelorinClientImpl& engine() ASSERT_CAPABILITY(globalLock()) {
    return ClientTesting::engine(client());
  }

  // Runs queued network operations and main-thread work until both are idle.
  void drain() {
    for (int round = 0; round < 100; ++round) {
      ClientTesting::waitForOperations(client());
      ClientTesting::waitForWrites(client());
      if (_test.mainLoop().runUntilIdle() == 0 && ClientTesting::pendingOperations(client()) == 0)
        return;
    }
    ADD_FAILURE() << "client did not become idle";
  }
  // One tick of the sync timer, and everything it starts.
  void tick() {
    _test.advanceClock(Platform::current().syncInterval());
    _test.mainLoop().runUntilIdle();
    drain();
  }
  void pageView(const std::string& screen) {
    client().createEvent("PAGEVIEW", JsonValue::parse(R"({"screenName":")" + screen + R"("})"));
    drain();
  }

  // The bodies the server received, in order.
  std::vector<std::string> bodies() const {
    std::vector<std::string> result;
    for (const auto& request : _server.requests()) result.push_back(request.body);
    return result;
  }
  std::optional<Parameters> serverProfile() {
    auto id = client().getProfileId();
    return id ? _server.service().properties(*id) : std::nullopt;
  }
  std::string storedFile(const std::string& name) const {
    std::ifstream in(_test.documentsFolder() + "/pelorin/" + name, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

  TestPlatform _test;
  devserver::DevServer _server;
  std::shared_ptr<headless::ViewController> _screen;
};

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_E2E_CLIENT_FIXTURE_H_
