// The rule engine of the form listener: copies what the user enters or selects in form
// fields (on the field's own change, a tap on a selection control, or a form submit) into
// profile properties, converting values through the rule's mappings.
//
// Thread safety: apply the rules on the main thread (they attach to controls) before the service is
// subscribed. Afterwards the bus calls `handleEvent` inside the global lock; the pending changes
// are guarded by a lock of the service. Every call into the client runs under the global lock.
#ifndef PELORIN_SRC_LISTENERS_FORM_LISTENING_SERVICE_H_
#define PELORIN_SRC_LISTENERS_FORM_LISTENING_SERVICE_H_

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "listeners/event_serivce_base.h"
#include "listeners/profile_change.h"
#include "listeners/view_rule_map.h"
#include "pelorin/event.h"
#include "pelorin/json_value.h"

namespace pelorin {

class PelorinClient;

namespace platform {
class Control;
class View;
}  // namespace platform

// Create it with std::make_shared (controls and the bus hold it weakly or share it), set its
// identifier, then apply the rules:
//
//   auto service = std::make_shared<FormListeningService>(client);
//   service->setListenerId(interactionId);
//   service->applyRules(rules);  // a JSON list of form rules
//   service->save();
class FormListeningService : public EventSerivceBase {
 public:
  static constexpr std::string_view LOG_TAG = "PL_FORMSERVICE";

  // The client whose views and profile the rules read and write; borrowed (it lives as
  // long as the process).
  explicit FormListeningService(PelorinClient& client) : _client(client) {}

  // `applyRules` (from the base) applies the rules in order ("onchange", "clickselection",
  // "formselection"; any other type is logged and skipped), then subscribes the service
  // for the events they wait for.

  // Collects the changes of the rules filed under the event's class, then saves them.
  void handleEvent(const std::shared_ptr<Event>& event) override;

  // The action of selection controls (touch-down): for every rule filed under the
  // control, publishes a form submit event ("formselection" rules) or a click event (any
  // other rule) with the selector of the rule's "action".
  void touchAction(platform::Control& control);
  // The action of observed fields: for every rule filed under the control, whatever its
  // type, publishes a field change event with the selector of the rule's "formfield".
  void fieldChangeAction(platform::Control& control);

  // Writes the pending changes in order and forgets them.
  void save();
  // A copy of the pending changes.
  std::vector<ProfileChange> pendingChanges() const;

  // Values converted by the first mapping of `mappings` (a JSON list of objects) whose
  // "original" equals the value, which gives its "converted" ("" when that is missing or not
  // a text); values without one pass unchanged.
  static std::vector<std::string> convertValues(JsonRef rule,
                                                const std::vector<std::string>& values);
  static std::vector<std::string> convertValues(JsonRef rule, std::vector<std::string>&& values);
  static std::string getConvertedValue(const std::string& value, JsonRef mappings);

 private:
  void applyRule(const Rule& rule) override;
  void applyChangeRule(const Rule& rule);
  void applySelectionRule(const Rule& rule, std::string_view kind, std::string_view applyMessage,
                          std::string_view className);
  std::optional<ProfileChange> handleTouchEvent(JsonRef rule, const ClickEvent& clickEvent);
  std::optional<ProfileChange> handleFieldChangeEvent(JsonRef rule,
                                                      const FieldChangeEvent& fieldChangeEvent);
  std::optional<ProfileChange> handleUpdateValuesEvent(JsonRef rule,
                                                       const UpdateValuesEvent& updateValuesEvent);
  std::optional<ProfileChange> addProfileChange(
      JsonRef rule, const std::optional<std::vector<std::string>>& context);
  std::vector<std::string> getValues(JsonRef rule,
                                     const std::optional<std::vector<std::string>>& context);
  void saveChange(const ProfileChange& change);
  std::shared_ptr<FormListeningService> self();

  PelorinClient& _client;
  mutable std::mutex _changesLock;
  std::vector<ProfileChange> _changes;  // guarded by _changesLock
  ViewRuleMap _clickMap;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_LISTENERS_FORM_LISTENING_SERVICE_H_
