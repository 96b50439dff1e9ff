// A client showing a small sign-up form, and helpers to apply form rules to it.
#ifndef PELORIN_TESTS_LISTENERS_FORM_FIXTURE_H_
#define PELORIN_TESTS_LISTENERS_FORM_FIXTURE_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "listeners/form_listening_service.h"
#include "listeners/rule_service_fixture.h"
#include "pelorin/headless/picker_view.h"
#include "pelorin/headless/toolkit.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "support/test_platform.h"

namespace pelorin::testing {

// The SignUp screen: a city field (outlet "cityField"), an e-mail field ("emailField"), a
// newsletter switch ("newsletterSwitch"), a budget slider ("budgetSlider"), a size picker
// ("sizePicker", rows S, M, L), a plan selector ("planButton"), a submit button
// ("submitButton") and a caption label ("caption").
class SignUpScreen {
 public:
  SignUpScreen() {
    add("cityField", city);
    add("emailField", email);
    add("newsletterSwitch", newsletter);
    add("budgetSlider", budget);
    add("sizePicker", sizes);
    add("planButton", plan);
    add("submitButton", submit);
    add("caption", caption);
  }

  void add(const std::string& outlet, const std::shared_ptr<headless::View>& view) {
    controller->view()->addSubview(view);
    controller->addOutlet(outlet, view);
  }

  std::shared_ptr<headless::ViewController> controller =
      std::make_shared<headless::ViewController>("SignUp");
  std::shared_ptr<headless::TextField> city = std::make_shared<headless::TextField>();
  std::shared_ptr<headless::TextField> email =
      std::make_shared<headless::TextField>("ann@example.com");
  std::shared_ptr<headless::Switch> newsletter = std::make_shared<headless::Switch>();
  std::shared_ptr<headless::Slider> budget = std::make_shared<headless::Slider>(0, 100, 10);
  std::shared_ptr<headless::PickerView> sizes = std::make_shared<headless::PickerView>(
      std::vector<std::vector<std::string>>{{"S", "M", "L"}});
  std::shared_ptr<headless::Button> plan = std::make_shared<headless::Button>("Gold");
  std::shared_ptr<headless::Button> submit = std::make_shared<headless::Button>("Send");
  std::shared_ptr<headless::Label> caption = std::make_shared<headless::Label>("Sign up");
};

class FormServiceTest : public ::testing::Test {
 protected:
  FormServiceTest() : client(PelorinClient::getInstance(screen.controller)) {
    bus.clearEventHandlers();
    bus.clearEvents();
    platform.console().clear();
  }
  ~FormServiceTest() override {
    bus.clearEventHandlers();
    bus.clearEvents();
  }

  // A service for the interaction "i1" with the rules of `rulesJson` (a JSON list) applied.
  std::shared_ptr<FormListeningService> apply(std::string_view rulesJson) {
    auto service = std::make_shared<FormListeningService>(client);
    service->setListenerId("i1");
    JsonValue rules = json(rulesJson);
    service->applyRules(rules.ref());
    return service;
  }

  std::optional<std::vector<std::string>> profile(std::string_view property) {
    return client.getProfileValues(property);
  }
  // Log lines of the form service only.
  std::vector<std::string> serviceLines() const {
    std::vector<std::string> lines;
    for (const auto& line : platform.logLines()) {
      if (line.find("[PL_FORMSERVICE]") != std::string::npos) lines.push_back(line);
    }
    return lines;
  }
  bool logged(std::string_view line) const {
    for (const auto& each : platform.logLines()) {
      if (each == line) return true;
    }
    return false;
  }
  void clearLog() { platform.console().clear(); }

  TestPlatform platform;
  SignUpScreen screen;
  PelorinClient& client;
  PelorinEventManager& bus = PelorinEventFactory::getInstance();
};

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_LISTENERS_FORM_FIXTURE_H_
