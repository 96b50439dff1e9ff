// A client showing the Checkout screen, and helpers to run an engagement service on it and
// read back what it stored.
#ifndef PELORIN_TESTS_PLUGINS_ENGAGEMENT_FIXTURE_H_
#define PELORIN_TESTS_PLUGINS_ENGAGEMENT_FIXTURE_H_

#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "listeners/engagement_service.h"
#include "listeners/rule_service_fixture.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "support/test_platform.h"

namespace pelorin {

// Failure messages show JSON values as their compact text.
inline void PrintTo(const JsonValue& value, std::ostream* out) { *out << value.toCompactString(); }

namespace testing {

class EngagementServiceTest : public ::testing::Test {
 protected:
  EngagementServiceTest() : _client(PelorinClient::getInstance(_screen.controller)) {
    _bus.clearEventHandlers();
    _bus.clearEvents();
    _platform.console().clear();
  }
  ~EngagementServiceTest() override {
    _bus.clearEventHandlers();
    _bus.clearEvents();
  }

  // A score service for the property "engagement" (classic format) of the interaction "i1".
  std::shared_ptr<EngagementService> scoreService() {
    return std::make_shared<EngagementService>(_client, "i1", "engagement", false,
                                               std::vector<std::string>(), false);
  }
  // A ranking service for the interaction "i1" (half-time format, under "i1").
  std::shared_ptr<EngagementService> rankingService(std::vector<std::string> allInterests = {}) {
    return std::make_shared<EngagementService>(_client, "i1", "i1", true, std::move(allInterests),
                                               true);
  }
  static void apply(EngagementService& service, std::string_view rulesJson) {
    JsonValue rules = json(rulesJson);
    service.applyRules(rules.ref());
  }

  // Makes `name` the engine's current screen name with a page view (no server is
  // configured, so nothing is sent), and lets the page view finish.
  void showScreen(const std::string& name) {
    _client.createEvent("PAGEVIEW", std::map<std::string, std::string>{{"screenName", name}});
    _client.engine().waitForOperations();
    _platform.mainLoop().runUntilIdle();
  }

  // The values of a profile property, each parsed as JSON.
  std::vector<JsonValue> stored(std::string_view property) {
    std::vector<JsonValue> values;
    for (const std::string& text : _client.getProfileValues(property).value_or(Strings())) {
      values.push_back(json(text));
    }
    return values;
  }
  // Log lines of the engagement service only.
  std::vector<std::string> serviceLines() const {
    std::vector<std::string> lines;
    for (const auto& line : _platform.logLines()) {
      if (line.find("[PL_ENGAGMENTSERVICE]") != std::string::npos) lines.push_back(line);
    }
    return lines;
  }
  void clearLog() { _platform.console().clear(); }

  using Strings = std::vector<std::string>;

  TestPlatform _platform;
  CheckoutScreen _screen;
  PelorinClient& _client;
  PelorinEventManager& _bus = PelorinEventFactory::getInstance();
};

}  // namespace testing
}  // namespace pelorin

#endif  // PELORIN_TESTS_PLUGINS_ENGAGEMENT_FIXTURE_H_
