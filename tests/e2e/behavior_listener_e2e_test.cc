// The behaviour listener end to end: the devserver configures it for the Checkout screen,
// the client starts it at the page view, and what the rules write reaches the server at
// the next tick.
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
#include "pelorin/headless/toolkit.h"
#include "pelorin/pelorin_client.h"

namespace pelorin {
namespace {

constexpr std::string_view kListenerRules = R"({"rules": [
    {"ruletype": "scoreclick", "clickarea": {"selector": "#buyButton"},
     "profileproperty": [{"profileproperty": "buyer"}], "addset": "set", "values": ["yes"]},
    {"ruletype": "scoreevent", "event": "purchase", "contextposition": "1",
     "profileproperty": [{"profileproperty": "lastPurchase"}], "addset": "set",
     "values": {"selectedoption": "context"}},
    {"ruletype": "scoreurl", "url": "url", "words": ["checkout"],
     "profileproperty": [{"profileproperty": "checkoutVisits"}], "addset": "merge",
     "values": ["1"]}]})";

// Answers a page view of "Checkout" with one behaviour listener interaction.
class CheckoutInteractions : public devserver::ScreenContent {
 public:
  JsonValue resultFor(const devserver::PageView& pageView) const override {
    boost::json::array interactions;
    if (pageView.eventType == "PAGEVIEW" && pageView.screenName == "Checkout") {
      boost::json::object parameter{
          {"id", "listener_rules"},
          {"value", boost::json::array{boost::json::string(kListenerRules)}}};
      interactions.push_back(boost::json::object{
          {"id", "behaviour-1"},
          {"pluginClass", "PelorinClient.BehaviorListener"},
          {"myInteractionTypeId", "type-1"},
          {"defaultLocale", "en"},
          {"parameters", boost::json::array{boost::json::object{
                             {"locale", "en"}, {"parameter", boost::json::array{parameter}}}}}});
    }
    return toJsonValue(boost::json::object{{"interactions", std::move(interactions)},
                                           {"segments", boost::json::array()},
                                           {"connections", boost::json::array()}});
  }
};

devserver::DevServerOptions serverOptions() {
  devserver::DevServerOptions options;
  options.screenContent = std::make_unique<CheckoutInteractions>();
  return options;
}

class BehaviorListenerE2ETest : public testing::ClientE2ETest {
 protected:
  BehaviorListenerE2ETest() : ClientE2ETest(serverOptions()) {
    _checkout->view()->addSubview(_buy);
    _checkout->addOutlet("buyButton", _buy);
    showScreen(_checkout);
  }

  std::shared_ptr<headless::ViewController> _checkout =
      std::make_shared<headless::ViewController>("Checkout");
  std::shared_ptr<headless::Button> _buy = std::make_shared<headless::Button>("Buy");
};

TEST_F(BehaviorListenerE2ETest, PageViewStartsTheListenerOnTheScreen) {
  pageView("Checkout");
  PelorinClient::synchronized([&] { EXPECT_EQ(engine().currentPlugins().size(), 1U); });
  EXPECT_EQ(_buy->targetCount(), 1U);
  // The URL rule counted the visit at once; the next tick sends it.
  EXPECT_EQ(client().getProfileValues("checkoutVisits"), std::vector<std::string>{"1.0"});
  tick();
  EXPECT_EQ(serverProfile(), (Parameters{{"checkoutVisits", {"1.0"}}}));
}

TEST_F(BehaviorListenerE2ETest, TappingTheButtonChangesTheProfileAndTheNextTickSendsIt) {
  pageView("Checkout");
  tick();

  _buy->tap();

  EXPECT_EQ(client().getProfileValues("buyer"), std::vector<std::string>{"yes"});
  tick();
  EXPECT_EQ(serverProfile(), (Parameters{{"buyer", {"yes"}}, {"checkoutVisits", {"1.0"}}}));
}

TEST_F(BehaviorListenerE2ETest, CustomEventOfTheAppTriggersTheAdvancedRule) {
  pageView("Checkout");
  tick();

  client().createEvent("purchase", JsonValue::parse(R"({"context": ["shoes", "hats"]})"));
  drain();

  EXPECT_EQ(client().getProfileValues("lastPurchase"), std::vector<std::string>{"shoes"});
  tick();
  EXPECT_EQ(serverProfile(),
            (Parameters{{"checkoutVisits", {"1.0"}}, {"lastPurchase", {"shoes"}}}));
}

TEST_F(BehaviorListenerE2ETest, NextPageViewDestroysTheListener) {
  pageView("Checkout");
  pageView("Home");
  // Its subscriptions ended: a tap on the old screen's button publishes to nobody.
  _buy->tap();
  EXPECT_EQ(client().getProfileValues("buyer"), std::nullopt);
}

}  // namespace
}  // namespace pelorin
