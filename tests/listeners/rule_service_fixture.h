// A client showing a small checkout screen, and helpers to apply listener rules to it.
#ifndef PELORIN_TESTS_LISTENERS_RULE_SERVICE_FIXTURE_H_
#define PELORIN_TESTS_LISTENERS_RULE_SERVICE_FIXTURE_H_

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "client/client_testing.h"
#include "listeners/rule_service.h"
#include "pelorin/headless/toolkit.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "support/test_platform.h"

namespace pelorin::testing {

inline JsonValue json(std::string_view text) {
  std::string error;
  std::optional<JsonValue> value = JsonValue::parse(text, &error);
  EXPECT_TRUE(value.has_value()) << error << " in " << text;
  return value.value_or(JsonValue());
}

// The Checkout screen: a banner (a plain view with two labels, outlet "banner"), a price
// label, a buy button (outlet "buyButton"), a submit button (outlet "submitButton") and an
// e-mail field (outlet "emailField").
class CheckoutScreen {
 public:
  CheckoutScreen() {
    using headless::Button;
    using headless::Label;
    using headless::TextField;
    banner->addSubview(std::make_shared<Label>("Spring sale"));
    banner->addSubview(std::make_shared<Label>("20% off"));
    controller->view()->addSubview(banner);
    controller->view()->addSubview(std::make_shared<Label>("Total: 25 EUR"));
    controller->view()->addSubview(buy);
    controller->view()->addSubview(submit);
    controller->view()->addSubview(email);
    controller->addOutlet("banner", banner);
    controller->addOutlet("buyButton", buy);
    controller->addOutlet("submitButton", submit);
    controller->addOutlet("emailField", email);
  }

  std::shared_ptr<headless::ViewController> controller =
      std::make_shared<headless::ViewController>("Checkout");
  std::shared_ptr<headless::View> banner = std::make_shared<headless::View>();
  std::shared_ptr<headless::Button> buy = std::make_shared<headless::Button>("Buy");
  std::shared_ptr<headless::Button> submit = std::make_shared<headless::Button>("Send");
  std::shared_ptr<headless::TextField> email =
      std::make_shared<headless::TextField>("ann@example.com");
};

class RuleServiceTest : public ::testing::Test {
 protected:
  RuleServiceTest() : _client(PelorinClient::getInstance(_screen.controller)) {
    _bus.clearEventHandlers();
    _bus.clearEvents();
    _platform.console().clear();
  }
  ~RuleServiceTest() override {
    _bus.clearEventHandlers();
    _bus.clearEvents();
  }

  // A service for the interaction "i1" with the rules of `rulesJson` (a JSON list) applied.
  std::shared_ptr<RuleService> apply(std::string_view rulesJson) {
    auto service = std::make_shared<RuleService>();
    service->setClient(_client);
    service->setListenerId("i1");
    JsonValue rules = json(rulesJson);
    service->applyRules(rules.ref());
    return service;
  }

  // Makes `name` the engine's current screen name with a page view (no server is
  // configured, so nothing is sent), and lets the page view finish.
  void showScreen(const std::string& name) {
    _client.createEvent("PAGEVIEW", std::map<std::string, std::string>{{"screenName", name}});
    ClientTesting::waitForOperations(_client);
    _platform.mainLoop().runUntilIdle();
  }

  std::optional<std::vector<std::string>> profile(std::string_view property) {
    return _client.getProfileValues(property);
  }
  // Log lines of the rule service only.
  std::vector<std::string> serviceLines() const {
    std::vector<std::string> lines;
    for (const auto& line : _platform.logLines()) {
      if (line.find("[PL_RULESERVICE]") != std::string::npos) lines.push_back(line);
    }
    return lines;
  }
  void clearLog() { _platform.console().clear(); }

  TestPlatform _platform;
  CheckoutScreen _screen;
  PelorinClient& _client;
  PelorinEventManager& _bus = PelorinEventFactory::getInstance();
};

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_LISTENERS_RULE_SERVICE_FIXTURE_H_
