#include "plugins/engagement_ranking_listener.h"

#include <optional>
#include <string>
#include <vector>

#include "listeners/listener_util.h"

namespace pelorin {

void EngagementRankingListener::onLoad() {
  const std::optional<std::string>& interactionId = _context.getInteractionId();
  if (!interactionId) return;
  std::optional<JsonValue> interests =
      ListenerUtil::getDictionaryFromParameters("interests", &_context);
  if (!interests) return;
  std::optional<JsonValue> rules =
      ListenerUtil::getDictionaryFromParameters("engagement_rules", &_context);
  if (!rules) return;
  // A list with anything but strings names no interests at all.
  std::vector<std::string> allInterests =
      (*interests)["values"].asStringList().value_or(std::vector<std::string>());
  // The ranking lives under the interaction's own identifier.
  startService(*interactionId, /*isInterest=*/true, std::move(allInterests),
               /*useHalfTime=*/true, *rules);
}

}  // namespace pelorin
