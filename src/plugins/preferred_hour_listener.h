// The built-in plug-in that records the hour of the day at which the visitor uses the app:
// each load adds one point for the current one-hour slot, stamped with the day number, to
// the hidden companion ("_" + name) of the configured profile property. The server ranks
// the slots; nothing is computed on the device.
//
// Thread safety: the static operations are safe from any thread.
#ifndef PELORIN_SRC_PLUGINS_PREFERRED_HOUR_LISTENER_H_
#define PELORIN_SRC_PLUGINS_PREFERRED_HOUR_LISTENER_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "pelorin/platform/services.h"

namespace pelorin {

class PreferredHourListener {
 public:
  static constexpr std::string_view LOG_TAG = "PREFERRED_HOUR";
  static constexpr std::string_view PARAMETER_PROPERTY = "property";
  static constexpr std::string_view PARAMETER_LOCALE = "locale";
  static constexpr std::string_view TAG_PROFILE_PROPERTY = "profileproperty";

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
};

}  // namespace pelorin

#endif  // PELORIN_SRC_PLUGINS_PREFERRED_HOUR_LISTENER_H_
