// The form listener plug-in: reads its "form_listener_rules" parameter (upgrading rules
// in the old layout) and hands the rules to a form listening service, which copies what
// the user enters or selects in forms into profile properties.
//
// Thread safety: a plug-in; `onLoad` and `onDestroy` run on the main thread.
#ifndef PELORIN_SRC_LISTENERS_FORM_LISTENER_H_
#define PELORIN_SRC_LISTENERS_FORM_LISTENER_H_

#include <memory>
#include <optional>
#include <string_view>

#include "listeners/form_listening_service.h"
#include "pelorin/interaction_context.h"
#include "pelorin/json_value.h"
#include "pelorin/pelorin_plugin.h"

namespace pelorin {

class PelorinClient;

// With the parameter "version" "2", "form_listener_rules" holds JSON text of the list of
// rules:
//
//   [{"id": "r1", "action": {"type": "onchange"}, "formfield": {"selector": "#city"},
//     "profileProperty": "city", "addset": "set"}]
//
// With any other version it holds an object whose "rules" are in the old layout.
class FormListener : public PelorinPlugin {
 public:
  static constexpr std::string_view CLASS_NAME = "PelorinClient.FormListener";

  FormListener(PelorinClient& client, InteractionContext context)
      : _client(client), _context(std::move(context)) {}

  // Applies the rules and writes what they found at once. Does nothing without rules or
  // without an interaction identifier.
  void onLoad() override;
  // Ends the service's subscriptions (those made under the interaction identifier).
  void onDestroy() override;

  // The rules of the parameters as a JSON list, old rules upgraded; nothing when the
  // parameter "version" or "form_listener_rules" is missing or holds no list of rules.
  std::optional<JsonValue> migrate() const;
  // The rules of `rules` (a JSON list) that are objects, rewritten in the current layout.
  static JsonValue migrateToV2(JsonRef rules);

  // The service made by onLoad; null before, or when there were no rules.
  const std::shared_ptr<FormListeningService>& formListeningService() const { return _service; }

 private:
  PelorinClient& _client;
  InteractionContext _context;
  std::shared_ptr<FormListeningService> _service;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_LISTENERS_FORM_LISTENER_H_
