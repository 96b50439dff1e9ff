// The built-in plug-in that records the hour of the day at which the visitor uses the app:
// each load adds one point for the current one-hour slot, stamped with the day number, to
// the hidden companion ("_" + name) of the configured profile property. The server ranks
// the slots; nothing is computed on the device.
//
// Thread safety: loaded on the main thread; its one client call takes the client's global
// lock. The static operations are safe from any thread.
#ifndef PELORIN_SRC_PLUGINS_PREFERRED_HOUR_LISTENER_H_
#define PELORIN_SRC_PLUGINS_PREFERRED_HOUR_LISTENER_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "pelorin/interaction_context.h"
#include "pelorin/pelorin_plugin.h"
#include "pelorin/platform/services.h"

namespace pelorin {

class PelorinClient;

class PreferredHourListener : public PelorinPlugin {
 public:
  static constexpr std::string_view LOG_TAG = "PREFERRED_HOUR";
  static constexpr std::string_view PARAMETER_PROPERTY = "property";
  static constexpr std::string_view PARAMETER_LOCALE = "locale";
  static constexpr std::string_view TAG_PROFILE_PROPERTY = "profileproperty";

  PreferredHourListener(PelorinClient& client, InteractionContext context);

  // Adds one point for the current hour to "_" + the "property" parameter's profile
  // property, labelled in the "locale" parameter's form. Without a property it does nothing.
  void onLoad() override;

  // The label of one hour. "en-us" (exactly, case-sensitive) gives the 12-hour form:
  // 0 -> "12 AM", 15 -> "3 PM", 24 -> "12 PM". Any other locale gives the 24-hour form, in
  // which hours below 10 carry the prefix "0 " (zero and a space, which the server expects):
  // 9 -> "0 9:00", 15 -> "15:00".
  static std::string get(int hour, std::string_view locale);

  // Whole days from 1 January 2012 00:00 UTC to `date`, rounded down (negative before).
  static std::int64_t daysSince2012(platform::Clock::TimePoint date);

  // The value one load adds: {"<label>":{"p<day number>":1},"TIME":"<milliseconds>"} as
  // compact JSON, where the label names the slot from `hour` to `hour` + 1 (not wrapped at
  // midnight: 23 gives "11 PM - 12 PM" in "en-us").
  static std::string pointText(int hour, std::string_view locale, platform::Clock::TimePoint now);

 private:
  PelorinClient& _client;
  InteractionContext _context;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_PLUGINS_PREFERRED_HOUR_LISTENER_H_
