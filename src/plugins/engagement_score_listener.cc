#include "plugins/engagement_score_listener.h"

#include <cstdint>
#include <vector>

#include "listeners/listener_util.h"

namespace pelorin {

void EngagementScoreListener::onLoad() {
  if (!_context.getInteractionId()) return;
  std::optional<JsonValue> rules =
      ListenerUtil::getDictionaryFromParameters("engagement_rules", &_context);
  if (!rules) return;
  std::optional<std::string> property = getProfilePropertyFromRules(_context);
  if (!property) return;
  startService(*std::move(property), /*isInterest=*/false, {}, /*useHalfTime=*/false, *rules);
}

std::optional<std::string> EngagementScoreListener::getProfilePropertyFromRules(
    const InteractionContext& context) {
  const std::optional<std::string> text = context.getValueFromParameters("propertyRules");
  std::optional<JsonValue> propertyRules = text ? ListenerUtil::stringToJson(*text) : std::nullopt;
  if (!propertyRules || !propertyRules->isArrayOfObjects()) {
    return ListenerUtil::getProfilePropertyFromParameters(context.getParameters());
  }
  // The property that decays slowest wins; a decay of 0 or less never does.
  std::int64_t bestDecay = 0;
  std::optional<std::string> best;
  for (const JsonRef& rule : propertyRules->elements()) {
    const std::optional<std::string> property = rule["profileproperty"].asString();
    const std::optional<std::int64_t> decay = rule["decay"].asInt();
    if (!property || !decay) continue;
    if (*decay > bestDecay) {
      bestDecay = *decay;
      best = property;
    }
  }
  return best;
}

}  // namespace pelorin
