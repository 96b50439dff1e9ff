// The rule engine of the behaviour listener: turns listener rules (taps on controls, form
// submits, the screen name, the text of a screen area, the app's own events) into profile
// changes, and writes them through the client.
//
// Thread safety: apply the rules on the main thread (they attach to controls), before the
// service is subscribed. Afterwards the bus calls `handleEvent` inside the global lock; the
// pending changes are guarded by a lock of the service, so `save` and `isChanged` may be
// called from any thread. Every call into the client runs under the global lock.
#ifndef PELORIN_SRC_LISTENERS_RULE_SERVICE_H_
#define PELORIN_SRC_LISTENERS_RULE_SERVICE_H_

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

namespace pelorin {

class PelorinClient;

namespace platform {
class Control;
}  // namespace platform

// Create it with std::make_shared (controls and the bus hold it), give it the client, set
// its identifier, then apply the rules:
//
//   auto service = std::make_shared<RuleService>();
//   service->setClient(client);
//   service->setListenerId(interactionId);
//   service->applyRules(listenerRules["rules"]);
//   service->save();
class RuleService : public EventSerivceBase {
 public:
  static constexpr std::string_view LOG_TAG = "PL_RULESERVICE";

  RuleService() = default;

  // The client whose views, screen name and profile the rules read and write. Borrowed:
  // the client lives as long as the process. Rules applied without one abort.
  void setClient(PelorinClient& client) { _client = &client; }

  // `applyRules` (from the base) applies the rules in order: URL and content rules are
  // evaluated now, click and form submit rules attach to their controls, event rules wait
  // for their events; each rule that waits is filed under its event's class. Then it
  // subscribes the service for the events its rules wait for.

  // Evaluates the rules filed under the event's class; the changes of each rule are
  // written before the next rule runs.
  void handleEvent(const std::shared_ptr<Event>& event) override;

  // The action of the controls that click and form submit rules attached to (on
  // touch-down): publishes a click event for each such rule's "clickarea" and a form
  // submit event for its "form".
  void touchAction(platform::Control& control);

  // Writes the pending changes in the order they were found and forgets them.
  void save();
  // True while changes are pending.
  bool isChanged() const;
  // A copy of the pending changes.
  std::vector<ProfileChange> pendingChanges() const;

  // --- Number helpers of the "merge" method.

  // `current` plus every value of `newValues`, as numbers, written in the shortest decimal
  // form that reads back as the same double, always with a fractional part: 2 + 3 gives
  // "5.0". Values that are not finite numbers are dropped; nothing when `current` is not
  // one, or the total is not finite. Logs "Merging currentValue <current> with <values>".
  static std::optional<std::string> sum(const std::string& current,
                                        const std::vector<std::string>& newValues);
  // The first value that is not blank, trimmed; "0" when there is none.
  static std::string getFirstNonEmptyValue(const std::optional<std::vector<std::string>>& values);
  // A number written with "." and "," separators in the form `sum` reads: the separator
  // nearer the end is the decimal one ("1.234,5" and "1,234.5" both give "1234.5"); a
  // separator that occurs alone once is decimal ("1,5" gives "1.5"), one that occurs
  // several times is grouping ("1.234.567" gives "1234567").
  static std::string convertToFormattable(std::string_view value);
  // The double read from decimal text (an optional sign, digits, a "." fraction, an
  // exponent); nothing for anything else, and for infinities and NaN.
  static std::optional<double> parseNumber(std::string_view text);
  // `value` in fixed-point notation with the fewest significant digits that read back as
  // the same double, and at least one digit after the point: 5 gives "5.0", 1e-7 gives
  // "0.0000001". "" for infinities and NaN.
  static std::string formatNumber(double value);

 private:
  void applyRule(const Rule& rule) override;
  void applyTouchRule(const Rule& rule, std::string_view areaKey, std::string_view missingMessage,
                      std::string_view className);
  void handleTouchEvent(JsonRef rule, const ClickEvent& clickEvent);
  // Steps of a content rule up to its registration; false when it has no selector (and so
  // is not registered).
  // `content`: an update's content; null reads the screen under the rule's selector.
  bool handleContentRule(JsonRef rule, const Content* content);
  void handleAdvancedEvent(JsonRef rule, const AdvancedEvent& advancedEvent);
  // The content rule's change for an update's `content`; nothing when it collects none.
  std::optional<ProfileChange> evaluateContentRule(JsonRef rule, const Content& content);
  // Whether entries of one rule may share one evaluation within an update.
  static bool isShareable(JsonRef rule);
  void addProfileChange(JsonRef rule, const std::optional<std::vector<std::string>>& context);
  std::optional<ProfileChange> makeProfileChange(
      JsonRef rule, const std::optional<std::vector<std::string>>& context);
  std::optional<std::vector<std::string>> getValues(
      JsonRef rule, const std::optional<std::vector<std::string>>& context);
  std::optional<std::vector<std::string>> getRegexpValues(JsonRef values);
  void saveChange(const ProfileChange& change);
  // Takes the pending changes out and writes them.
  void savePending();
  PelorinClient& client() const;

  PelorinClient* _client = nullptr;
  mutable std::mutex _changesLock;
  std::vector<ProfileChange> _changes;  // guarded by _changesLock
  ViewRuleMap _clickMap;
  // How many content rules were filed for update events when the rules were applied.
  // Each update event files each of them once more (see handleEvent).
  std::size_t _contentRuleCount = 0;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_LISTENERS_RULE_SERVICE_H_
