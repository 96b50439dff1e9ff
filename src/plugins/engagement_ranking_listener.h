// The built-in plug-in that keeps an interest ranking: every rule that fires adds its points
// for the interests its content reveals, in the half-time format (days since 1 September
// 2017, entries listed), to "_" + the interaction's own identifier. The server derives the
// ranking, stored under the identifier.
//
// Thread safety: a plug-in; `onLoad` and `onDestroy` run on the main thread.
#ifndef PELORIN_SRC_PLUGINS_ENGAGEMENT_RANKING_LISTENER_H_
#define PELORIN_SRC_PLUGINS_ENGAGEMENT_RANKING_LISTENER_H_

#include <string_view>

#include "plugins/engagement_listener.h"

namespace pelorin {

// Parameters: "interests" (JSON text of {"values": ["sports", "news"]}) and
// "engagement_rules" (JSON text of {"rules": [...]}), both required.
class EngagementRankingListener : public EngagementListener {
 public:
  static constexpr std::string_view CLASS_NAME = "PelorinClient.EngagementRankingListener";

  EngagementRankingListener(PelorinClient& client, InteractionContext context)
      : EngagementListener(client, std::move(context)) {}

  // Makes the service and applies the rules. Does nothing when the interaction has no
  // identifier, or "interests" or "engagement_rules" is not a JSON object.
  void onLoad() override;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_PLUGINS_ENGAGEMENT_RANKING_LISTENER_H_
