// The behaviour listener plug-in: reads its "listener_rules" parameter and hands the rules
// to a rule service, which turns taps, form submits, screen names, screen text and the
// app's own events into profile changes.
//
// Thread safety: a plug-in; `onLoad` and `onDestroy` run on the main thread.
#ifndef PELORIN_SRC_LISTENERS_BEHAVIOR_LISTENER_H_
#define PELORIN_SRC_LISTENERS_BEHAVIOR_LISTENER_H_

#include <memory>
#include <string_view>

#include "listeners/rule_service.h"
#include "pelorin/interaction_context.h"
#include "pelorin/pelorin_plugin.h"

namespace pelorin {

class PelorinClient;

// The parameter "listener_rules" holds JSON text of an object whose "rules" member lists
// the rules:
//
//   {"rules": [{"ruletype": "scoreclick", "clickarea": {"selector": "#buyButton"},
//               "profileproperty": [{"profileproperty": "buyer"}],
//               "addset": "set", "values": ["yes"]}]}
class BehaviorListener : public PelorinPlugin {
 public:
  static constexpr std::string_view CLASS_NAME = "PelorinClient.BehaviorListener";

  BehaviorListener(PelorinClient& client, InteractionContext context)
      : _client(client), _context(std::move(context)) {}

  // Applies the rules and writes what they found at once. Does nothing when the parameter
  // is missing or not an object, when the interaction has no identifier, or when the
  // object has no "rules" list.
  void onLoad() override;
  // Ends the service's subscriptions (those made under the interaction identifier).
  void onDestroy() override;

  // The service made by onLoad; null before, or when there were no rules.
  const std::shared_ptr<RuleService>& ruleService() const { return _ruleService; }

 private:
  PelorinClient& _client;
  InteractionContext _context;
  std::shared_ptr<RuleService> _ruleService;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_LISTENERS_BEHAVIOR_LISTENER_H_
