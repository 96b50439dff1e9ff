// Feeds arbitrary bytes as the "listener_rules" parameter of a behaviour listener on a
// small headless screen, then publishes custom, click, form submit and content events and
// taps the screen's buttons. Whatever the rules say, the host must not crash.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "client/pelorin_client_impl.h"
#include "fuzz_support.h"
#include "listeners/behavior_listener.h"
#include "pelorin/event.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"

namespace {

using namespace pelorin;  // NOLINT(google-build-using-namespace): a fuzz driver

struct Harness {
  Harness() : services(fuzzing::installFuzzPlatform(/*online=*/false)) {
    client = &PelorinClient::getInstance(screen.controller);
    client->createEvent("PAGEVIEW",
                        std::map<std::string, std::string>{{"screenName", "Checkout/Product-42"}});
    client->engine().waitForOperations();
    services.mainLoop->runUntilIdle();
  }

  fuzzing::FuzzPlatform services;
  fuzzing::ShopScreen screen;
  PelorinClient* client = nullptr;
};

Harness& harness() {
  static auto* instance = new Harness();  // lives for the process, like the client
  return *instance;
}

JsonValue interactionWith(std::string_view listenerRules) {
  boost::json::object parameter{{"id", "listener_rules"},
                                {"value", boost::json::array{boost::json::string(listenerRules)}}};
  return JsonValue(boost::json::object{
      {"id", "fuzz-1"},
      {"defaultLocale", "en"},
      {"parameters", boost::json::array{boost::json::object{
                         {"locale", "en"}, {"parameter", boost::json::array{parameter}}}}}});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Harness& h = harness();
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const JsonValue interaction = interactionWith(text);
  auto listener = std::make_shared<BehaviorListener>(
      *h.client, InteractionContext(interaction.ref(), h.screen.controller, std::nullopt));
  listener->onLoad();

  PelorinEventManager& bus = PelorinEventFactory::getInstance();
  bus.publish(std::make_shared<AdvancedEvent>("buy", std::vector<std::string>{"shoes", "42"}));
  bus.publish(std::make_shared<AdvancedEvent>("buy"));
  bus.publish(std::make_shared<ClickEvent>("#banner", std::vector<std::string>{"gold"}));
  bus.publish(std::make_shared<FormSubmitEvent>("#submitButton"));
  bus.publish(std::make_shared<UpdateContentEvent>(std::vector<std::string>{"Spring sale"}));
  bus.publish(std::make_shared<UpdateContentEvent>("#banner", std::vector<std::string>{}));
  h.screen.buy->tap();
  h.screen.submit->tap();
  if (listener->ruleService()) listener->ruleService()->save();

  listener->onDestroy();
  bus.clearEvents();
  return 0;
}
