// The rule engine of the form listener: copies what the user enters or selects in form
// fields (on the field's own change, a tap on a selection control, or a form submit) into
// profile properties, converting values through the rule's mappings.
//
// Thread safety: apply the rules on the main thread (they attach to controls and pickers)
// before the service is subscribed. Afterwards the bus calls `handleEvent` inside the
// global lock; the pending changes are guarded by a lock of the service. Every call into
// the client runs under the global lock.
#ifndef PELORIN_SRC_LISTENERS_FORM_LISTENING_SERVICE_H_
#define PELORIN_SRC_LISTENERS_FORM_LISTENING_SERVICE_H_

#include <cstddef>
#include <map>
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
#include "pelorin/platform/picker_view.h"

namespace pelorin {

class PelorinClient;

namespace platform {
class Control;
class View;
}  // namespace platform

// Create it with std::make_shared (controls, pickers and the bus hold it weakly or share
// it), set its identifier, then apply the rules:
//
//   auto service = std::make_shared<FormListeningService>(client);
//   service->setListenerId(interactionId);
//   service->applyRules(rules);  // a JSON list of form rules
//   service->save();
class FormListeningService : public EventSerivceBase, public platform::PickerViewDelegate {
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

  // The action of selection controls (touch-down): publishes a click event or a form
  // submit event with the selector of each rule's "action".
  void touchAction(platform::Control& control);
  // The action of observed fields: publishes a field change event with the selector of
  // each rule's "formfield".
  void fieldChangeAction(platform::Control& control);
  // A picker under an "onchange" rule settled on a row: tells the picker's previous
  // delegate, then publishes an update-values event with the picker's selected titles.
  void didSelectRow(platform::PickerView& pickerView, std::size_t row,
                    std::size_t component) override;

  // Writes the pending changes in order and forgets them.
  void save();
  // A copy of the pending changes.
  std::vector<ProfileChange> pendingChanges() const;

  // Values converted by the first mapping of `mappings` (a JSON list of objects) whose
  // "original" equals the value; values without one pass unchanged.
  static std::vector<std::string> convertValues(JsonRef rule,
                                                const std::vector<std::string>& values);
  static std::string getConvertedValue(const std::string& value, JsonRef mappings);

 private:
  // Rules attached to one control or picker, and the object itself, to tell it from a
  // later one at the same address.
  void applyRule(const JsonValue& rule) override;
  void applyChangeRule(const JsonValue& rule);
  void applySelectionRule(const JsonValue& rule, std::string_view kind,
                          std::string_view applyMessage, std::string_view className);
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
  ViewRuleMap _pickerMap;
  // The delegate each observed picker had before the service took its place; still told
  // of every selection.
  std::map<const platform::View*, std::weak_ptr<platform::PickerViewDelegate>> _delegate;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_LISTENERS_FORM_LISTENING_SERVICE_H_
