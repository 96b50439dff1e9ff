#include "listeners/behavior_listener.h"

#include <optional>
#include <string>

#include "listeners/listener_util.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"

namespace pelorin {

void BehaviorListener::onLoad() {
  std::optional<JsonValue> listenerRules =
      ListenerUtil::getDictionaryFromParameters("listener_rules", &_context);
  if (!listenerRules) return;
  const std::optional<std::string>& interactionId = _context.getInteractionId();
  if (!interactionId) return;
  JsonRef rules = (*listenerRules)["rules"];
  if (!rules.isArray()) return;
  _ruleService = std::make_shared<RuleService>();
  _ruleService->setClient(_client);
  _ruleService->setListenerId(*interactionId);
  _ruleService->applyRules(rules);
  _ruleService->save();
}

void BehaviorListener::onDestroy() {
  // Without an identifier this clears every handler, as the bus defines it.
  const std::optional<std::string>& interactionId = _context.getInteractionId();
  PelorinClient::synchronized([&] {
    PelorinEventFactory::getInstance().clearEventHandlers(
        interactionId ? std::optional<std::string_view>(*interactionId) : std::nullopt);
  });
}

}  // namespace pelorin
