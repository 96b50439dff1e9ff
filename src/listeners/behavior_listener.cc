#include "listeners/behavior_listener.h"

#include <optional>
#include <string>

#include "listeners/listener_util.h"
#include "pelorin/pelorin_client.h"

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

void BehaviorListener::onDestroy() { EventSerivceBase::unsubscribe(_context.getInteractionId()); }

}  // namespace pelorin
