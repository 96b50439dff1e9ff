// Feeds arbitrary bytes as the "listener_rules" parameter of a behaviour listener on a
// small headless screen, then publishes custom, click, form submit and content events and
// taps the screen's buttons. Whatever the rules say, the host must not crash.
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "client_harness.h"
#include "listeners/behavior_listener.h"
#include "pelorin/event.h"
#include "pelorin/pelorin_event_factory.h"

using namespace pelorin;           // NOLINT(google-build-using-namespace): a fuzz driver
using namespace pelorin::fuzzing;  // NOLINT(google-build-using-namespace): a fuzz driver

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto& h = harness({.online = false, .firstAnswer = {}, .pageView = true});
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const JsonValue interaction = interactionWith({{"listener_rules", text}});
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
