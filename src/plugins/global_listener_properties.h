// The profile properties that the global listener writes, computed from what it read: the
// device and screen, the app's information dictionary, the visit counters and the origin.
// Each builder answers a property map (name -> values) that the listener writes as it is;
// every entry replaces the property's values.
//
// Thread safety: pure functions (they may log); safe from any thread.
#ifndef PELORIN_SRC_PLUGINS_GLOBAL_LISTENER_PROPERTIES_H_
#define PELORIN_SRC_PLUGINS_GLOBAL_LISTENER_PROPERTIES_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pelorin/json_value.h"
#include "pelorin/pelorin_types.h"
#include "pelorin/platform/ui_types.h"

namespace pelorin::plugins {

using PropertyMap = Parameters;
using Values = std::vector<std::string>;

// What the device reports about itself.
struct DeviceDescription {
  std::string systemName;
  std::string systemVersion;
  platform::Size screenSize;  // points
  double screenScale = 1;
  std::string localeIdentifier;
};

// "currentosname"/"osname" (system name), "currentosversion"/"osversion" ("iOS 11.2"),
// "currentscreenwidth"/"currentscreenheight" (whole points), "currentresolution"/
// "resolution" (whole pixels, "1125x2436") and "language" (the locale identifier). A
// screen whose sizes in points or pixels are not finite or do not fit in 64 bits leaves
// the four screen properties out and logs why.
PropertyMap deviceProperties(const DeviceDescription& device);

// "mobile_app_id" (CFBundleIdentifier), "mobile_app_name" (CFBundleDisplayName, else
// CFBundleName), "mobile_app_nameversion" (name + " " + CFBundleShortVersionString), each
// only when its keys hold strings; "mobile_app_ad_id" unless the identifier is missing,
// empty or all zeros (tracking limited); "mobile_app_vendor" "Apple"; "mobile_app_model".
// An empty (or missing) dictionary gives an empty map.
PropertyMap appProperties(JsonRef infoDictionary,
                          const std::optional<std::string>& advertisingIdentifier,
                          const std::string& model);

// The stored counters, each the property's first value ("" when missing).
struct VisitCounters {
  std::string lastVisitDate;
  std::string visits;
  std::string clickCount;
  std::string visitClicks;
};

// One more click; a new visit when none was counted yet or more than 30 minutes passed
// since the last activity; "lastvisitdate" = `nowMillis`. Unparsable counters count as 0.
// Nothing (logged) when a counter would overflow.
std::optional<PropertyMap> statisticsProperties(const VisitCounters& counters,
                                                std::int64_t nowMillis);

// "origin_type" = `type`; "origin_source" and "origin_detail" only when given a list with
// exactly one value.
PropertyMap originProperties(const std::string& type, const std::optional<Values>& source,
                             const std::optional<Values>& detail);

// The profile as the origin rules read it; missing properties are empty lists (or "").
struct OriginInputs {
  Values originType;
  Values originSource;
  Values originDetail;
  Values visits;
  std::string deviceType;
  Values visitedSites;
  Values entryPage;
  Values appId;
  Values appNameVersion;
  Values receivedFromSystem;
  Values receivedFromConnection;
};

// Where the visitor first came from: nothing when an origin is already recorded in its
// single-valued form or the profile matches no rule; the single-valued rewrite when a
// stored origin list holds several values; otherwise "mobile_app", "connection", "web" or
// "mobile_web" with the matching source and detail.
std::optional<PropertyMap> originFor(const OriginInputs& inputs);

}  // namespace pelorin::plugins

#endif  // PELORIN_SRC_PLUGINS_GLOBAL_LISTENER_PROPERTIES_H_
