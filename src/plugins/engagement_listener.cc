#include "plugins/engagement_listener.h"

#include <optional>
#include <utility>

namespace pelorin {

void EngagementListener::startService(std::string propertyName, bool isInterest,
                                      std::vector<std::string> allInterests, bool useHalfTime,
                                      const JsonValue& engagementRules) {
  // Both plug-ins make their service only for an interaction with an identifier.
  _engagementService = std::make_shared<EngagementService>(
      _client, _context.getInteractionId().value_or(""), std::move(propertyName), isInterest,
      std::move(allInterests), useHalfTime);
  if (JsonRef rules = engagementRules["rules"]; rules.isArray()) {
    _engagementService->applyRules(rules);
  }
  if (_engagementService->isChanged()) _engagementService->save();
}

void EngagementListener::onDestroy() { EventSerivceBase::unsubscribe(_context.getInteractionId()); }

}  // namespace pelorin
