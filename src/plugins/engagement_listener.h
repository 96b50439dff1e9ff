// The common part of the two engagement plug-ins: each puts one `EngagementService` to work
// for its interaction, handing it the "rules" of the "engagement_rules" parameter, and ends
// the service's subscriptions when the interaction goes away.
//
// Thread safety: a plug-in; `onLoad` and `onDestroy` run on the main thread.
#ifndef PELORIN_SRC_PLUGINS_ENGAGEMENT_LISTENER_H_
#define PELORIN_SRC_PLUGINS_ENGAGEMENT_LISTENER_H_

#include <memory>
#include <string>
#include <vector>

#include "listeners/engagement_service.h"
#include "pelorin/interaction_context.h"
#include "pelorin/json_value.h"
#include "pelorin/pelorin_plugin.h"

namespace pelorin {

class PelorinClient;

class EngagementListener : public PelorinPlugin {
 public:
  // Ends the subscriptions made under the interaction identifier (none without one).
  void onDestroy() override;

  // The service made by onLoad; null before, or when a parameter was missing.
  const std::shared_ptr<EngagementService>& engagementService() const { return _engagementService; }

 protected:
  EngagementListener(PelorinClient& client, InteractionContext context)
      : _client(client), _context(std::move(context)) {}

  // Makes the service for the interaction (replacing an earlier one), applies the list
  // `engagementRules["rules"]` (no rules when it is missing), and saves at once what the
  // content and URL rules scored while they were applied.
  void startService(std::string propertyName, bool isInterest,
                    std::vector<std::string> allInterests, bool useHalfTime,
                    const JsonValue& engagementRules);

  PelorinClient& _client;
  InteractionContext _context;
  std::shared_ptr<EngagementService> _engagementService;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_PLUGINS_ENGAGEMENT_LISTENER_H_
