// The scoring engine of the engagement plug-ins: watches the screen text, taps on controls,
// form submits, the screen name and the app's own events that its rules describe, and
// records points for the score (under "k") or for the interests the content reveals. A save
// adds the raw points, stamped with a day number, to the hidden property "_" + name; the
// server derives the visible value.
//
// Thread safety: apply the rules on the main thread (they read views and attach to
// controls), before the service is subscribed. Afterwards the bus calls `handleEvent` inside
// the global lock; the pending points are guarded by a lock of the service, so `save` and
// `isChanged` may be called from any thread. Every call into the client and the bus runs
// under the global lock.
#ifndef PELORIN_SRC_LISTENERS_ENGAGEMENT_SERVICE_H_
#define PELORIN_SRC_LISTENERS_ENGAGEMENT_SERVICE_H_

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "listeners/event_serivce_base.h"
#include "listeners/view_rule_map.h"
#include "pelorin/event.h"
#include "pelorin/json_value.h"
#include "pelorin/platform/services.h"

namespace pelorin {

class PelorinClient;

namespace platform {
class Control;
}  // namespace platform

// One point entry: the interest name, lower-cased ("k" for the score), and its points.
struct PointEntry {
  std::string n;
  std::int64_t p = 0;
  bool operator==(const PointEntry&) const = default;
};

// Create it with std::make_shared (controls and the bus hold it), then apply the rules:
//
//   auto service = std::make_shared<EngagementService>(client, "i-1", "engagement",
//                                                      /*isInterest=*/false,
//                                                      std::vector<std::string>(),
//                                                      /*useHalfTime=*/false);
//   service->applyRules(engagementRules["rules"]);
//   if (service->isChanged()) service->save();
class EngagementService : public EventSerivceBase {
 public:
  // (sic): the tag's spelling is part of the log format; keep it.
  static constexpr std::string_view LOG_TAG = "PL_ENGAGMENTSERVICE";
  // The "url" values of a URL rule that score the current screen name.
  static constexpr std::array<std::string_view, 3> URL_RULES = {"url", "urlreferrer", "or"};

  // Points go to the interests the content reveals when `isInterest` is true, else to the
  // score ("k"). `allInterests` are the interests a rule with the interest "pre_any" picks
  // from. `useHalfTime` selects the stored text and the day count: days since 1 September
  // 2017 with the entries listed, else days since 1 January 2012 with sums per name. The
  // day number is taken from the platform clock now and stamps every save.
  EngagementService(PelorinClient& client, std::string listenerId, std::string propertyName,
                    bool isInterest, std::vector<std::string> allInterests, bool useHalfTime);
  // Clears the bus's handlers of the listener identifier, so no event reaches a service
  // that is gone.
  ~EngagementService() override;
  EngagementService(const EngagementService&) = delete;
  EngagementService& operator=(const EngagementService&) = delete;

  // `applyRules` (from the base) attaches the rules in order, then subscribes the service
  // once for the events they wait for. Content and URL rules score at once; click and form
  // submit rules attach to their controls; event rules wait for the app's events. A rule of
  // an unknown type is logged and skipped; one whose "ruletype" is not a string is skipped
  // silently.

  // Scores the rules filed under the event's class, then saves.
  void handleEvent(const std::shared_ptr<Event>& event) override;

  // The action of the controls that click and form submit rules attached to (on
  // touch-down): publishes a click event for the "clickarea" selector of each of the
  // control's rules; the points come when the event comes back.
  void touchAction(platform::Control& control);

  // True while points are pending.
  bool isChanged() const;
  // Adds the pending points as one value of the hidden property and forgets them; nothing
  // when none are pending.
  void save();

  // The pending point entries, in the order the rules fired.
  std::vector<PointEntry> changes() const;
  const std::vector<std::string>& allInterests() const { return _allInterests; }
  void setAllInterests(std::vector<std::string> allInterests) {
    _allInterests = std::move(allInterests);
    _allInterestLists.clear();
  }
  const std::string& propertyName() const { return _propertyName; }
  const std::string& internalPropertyName() const { return _internalPropertyName; }
  bool isInterest() const { return _isInterest; }
  bool useHalfTime() const { return _useHalfTime; }
  // The day number that stamps every save.
  std::int64_t days() const { return _days; }

  // Whole days from the epoch of the format (1 September 2017 for half-time, else
  // 1 January 2012, both 00:00 UTC) to `now`, rounded down.
  static std::int64_t dayNumber(platform::Clock::TimePoint now, bool useHalfTime);

  // The stored texts of `entries`, stamped with `days` and the platform clock's time:
  // classic {"TIME":"<ms>","<name>":{"p<days>":<sum>},...} (an entry whose sum would
  // overflow is logged and left out) and half-time {"TIME":"<ms>","days":<days>,
  // "data":[{"n":..,"p":..},...]}.
  static std::string getFormattedData(const std::vector<PointEntry>& entries, std::int64_t days);
  static std::string getHalfTimeData(const std::vector<PointEntry>& entries, std::int64_t days);

 private:
  void applyRule(const Rule& rule) override;
  void applyContentRule(const Rule& rule);
  void applyTouchRule(const Rule& rule, std::string_view areaKey, std::string_view missingMessage,
                      std::string_view className);
  void applyUrlRule(const Rule& rule);
  void handleTouchEvent(JsonRef rule, const ClickEvent& event);
  void handleUpdateContentEvent(JsonRef rule, const UpdateContentEvent& event,
                                const Content& content);
  void handleAdvancedEvent(JsonRef rule, const AdvancedEvent& event);
  void addPointsForRule(JsonRef rule, const Content& content);
  void addPoints(std::string_view interest, std::int64_t score);
  std::vector<std::string> getInterestsFromContent(JsonRef rule, const Content& content);
  // Each of `allInterests` as a list of one word, as the content test takes words.
  const std::vector<std::vector<std::string>>& allInterestLists();

  PelorinClient& _client;
  const std::string _propertyName;
  const std::string _internalPropertyName;
  const bool _isInterest;
  std::vector<std::string> _allInterests;
  std::vector<std::vector<std::string>> _allInterestLists;  // made on first use
  const bool _useHalfTime;
  const std::int64_t _days;
  mutable std::mutex _changesLock;
  std::vector<PointEntry> _changes;  // guarded by _changesLock
  ViewRuleMap _elementRuleMap;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_LISTENERS_ENGAGEMENT_SERVICE_H_
