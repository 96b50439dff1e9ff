// The form listener end to end: the devserver configures it for the SignUp screen, the
// client starts it at the page view, and what the user enters reaches the server at the
// next tick.
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "client/pelorin_client_impl.h"
#include "devserver/dev_server.h"
#include "e2e/client_fixture.h"
#include "json/json_value_access.h"
#include "pelorin/event.h"
#include "pelorin/headless/toolkit.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"

namespace pelorin {
namespace {

constexpr std::string_view kFormRules = R"([
    {"id": "city", "action": {"type": "onchange"}, "formfield": {"selector": "#cityField"},
     "profileProperty": "city", "addset": "set",
     "converter": {"mappings": [{"id": "1", "original": "Amsterdam", "converted": "AMS"}]}},
    {"id": "news", "action": {"type": "onchange"},
     "formfield": {"selector": "#newsletterSwitch"}, "valuetext": "value",
     "profileProperty": "newsletter",
     "addset": "set"},
    {"id": "email", "action": {"type": "formselection", "selector": "#submitButton"},
     "formfield": {"selector": "#emailField"}, "profileProperty": "email", "addset": "add"}])";

// Answers a page view of "SignUp" with one form listener interaction.
class SignUpInteractions : public devserver::ScreenContent {
 public:
  JsonValue resultFor(const devserver::PageView& pageView) const override {
    boost::json::array interactions;
    if (pageView.eventType == "PAGEVIEW" && pageView.screenName == "SignUp") {
      boost::json::array parameters{
          boost::json::object{{"id", "version"}, {"value", boost::json::array{"2"}}},
          boost::json::object{{"id", "form_listener_rules"},
                              {"value", boost::json::array{boost::json::string(kFormRules)}}}};
      interactions.push_back(boost::json::object{
          {"id", "form-1"},
          {"pluginClass", "PelorinClient.FormListener"},
          {"myInteractionTypeId", "type-2"},
          {"defaultLocale", "en"},
          {"parameters",
           boost::json::array{boost::json::object{{"locale", "en"}, {"parameter", parameters}}}}});
    }
    return toJsonValue(boost::json::object{{"interactions", std::move(interactions)},
                                           {"segments", boost::json::array()},
                                           {"connections", boost::json::array()}});
  }
};

devserver::DevServerOptions serverOptions() {
  devserver::DevServerOptions options;
  options.screenContent = std::make_unique<SignUpInteractions>();
  return options;
}

class FormListenerE2ETest : public testing::ClientE2ETest {
 protected:
  FormListenerE2ETest() : ClientE2ETest(serverOptions()) {
    add("cityField", _city);
    add("emailField", _email);
    add("newsletterSwitch", _newsletter);
    add("submitButton", _submit);
    showScreen(_signUp);
  }

  void add(const std::string& outlet, const std::shared_ptr<headless::View>& view) {
    _signUp->view()->addSubview(view);
    _signUp->addOutlet(outlet, view);
  }

  std::shared_ptr<headless::ViewController> _signUp =
      std::make_shared<headless::ViewController>("SignUp");
  std::shared_ptr<headless::TextField> _city = std::make_shared<headless::TextField>();
  std::shared_ptr<headless::TextField> _email =
      std::make_shared<headless::TextField>("ann@example.com");
  std::shared_ptr<headless::Switch> _newsletter = std::make_shared<headless::Switch>();
  std::shared_ptr<headless::Button> _submit = std::make_shared<headless::Button>("Send");
};

TEST_F(FormListenerE2ETest, PageViewStartsTheListenerOnTheForm) {
  pageView("SignUp");
  PelorinClient::synchronized([&] { EXPECT_EQ(engine().currentPlugins().size(), 1U); });
  EXPECT_EQ(_city->targetCount(), 1U);
  EXPECT_EQ(_newsletter->targetCount(), 1U);
  EXPECT_EQ(_submit->targetCount(), 1U);
}

TEST_F(FormListenerE2ETest, FilledInFormReachesTheServerAtTheNextTick) {
  pageView("SignUp");
  tick();

  _city->typeText("Amsterdam");
  _city->pressReturn();
  // A switch has no text: the app reports its value with the field change.
  _newsletter->toggle();
  PelorinClient::synchronized([&] {
    PelorinEventFactory::getInstance().publish(
        std::make_shared<FieldChangeEvent>("#newsletterSwitch", std::vector<std::string>{"true"}));
  });
  _submit->tap();

  EXPECT_EQ(client().getProfileValues("city"), std::vector<std::string>{"AMS"});
  tick();
  EXPECT_EQ(
      serverProfile(),
      (Parameters{{"city", {"AMS"}}, {"email", {"ann@example.com"}}, {"newsletter", {"true"}}}));
}

TEST_F(FormListenerE2ETest, NextPageViewDestroysTheListener) {
  pageView("SignUp");
  pageView("Home");
  // Its subscriptions ended: the controls publish to nobody.
  _city->typeText("Amsterdam");
  _city->endEditing();
  _submit->tap();
  EXPECT_EQ(client().getProfileValues("city"), std::nullopt);
  EXPECT_EQ(client().getProfileValues("email"), std::nullopt);
}

}  // namespace
}  // namespace pelorin
