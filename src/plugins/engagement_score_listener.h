// The built-in plug-in that keeps an engagement score: every rule that fires adds its points
// under the single key "k" to the hidden companion of the chosen profile property, in the
// classic format (days since 1 January 2012, sums per day). The server derives the score.
//
// Thread safety: a plug-in; `onLoad` and `onDestroy` run on the main thread.
#ifndef PELORIN_SRC_PLUGINS_ENGAGEMENT_SCORE_LISTENER_H_
#define PELORIN_SRC_PLUGINS_ENGAGEMENT_SCORE_LISTENER_H_

#include <optional>
#include <string>
#include <string_view>

#include "plugins/engagement_listener.h"

namespace pelorin {

// Parameters: "engagement_rules" (JSON text of {"rules": [...]}, required) and the property,
// from "propertyRules" (JSON text of [{"profileproperty": "engagement", "decay": 7}, ...])
// or else the classic "property" ([{"profileproperty": "engagement"}]).
class EngagementScoreListener : public EngagementListener {
 public:
  static constexpr std::string_view CLASS_NAME = "PelorinClient.EngagementScoreListener";

  EngagementScoreListener(PelorinClient& client, InteractionContext context)
      : EngagementListener(client, std::move(context)) {}

  // Makes the service and applies the rules. Does nothing when the interaction has no
  // identifier, "engagement_rules" is not a JSON object, or no property is chosen.
  void onLoad() override;

  // The property of the "propertyRules" object with the highest "decay" above 0 (the
  // earliest on ties); nothing for an empty list or when no decay is above 0. Falls back
  // to the "property" parameter only when "propertyRules" is missing or is not JSON text
  // of a list of objects.
  static std::optional<std::string> getProfilePropertyFromRules(const InteractionContext& context);
};

}  // namespace pelorin

#endif  // PELORIN_SRC_PLUGINS_ENGAGEMENT_SCORE_LISTENER_H_
