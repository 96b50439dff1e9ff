#include "plugins/global_listener_properties.h"

#include <cmath>
#include <limits>

#include <fmt/format.h>

#include "base/decimal_integer.h"
#include "config/pelorin_configuration.h"

namespace pelorin::plugins {
namespace {

constexpr std::string_view kLogTag = "PL_INTERACTION";
constexpr std::string_view kAllZeroAdvertisingId = "00000000-0000-0000-0000-000000000000";
constexpr std::int64_t kVisitTimeoutMillis = 1800000;  // 30 minutes

// A size truncated to a whole number; nothing when it is not finite or out of 64 bits.
std::optional<std::int64_t> truncated(double value) {
  // 2^63 exactly: every double below it (and at or above -2^63) converts without overflow.
  constexpr double kLimit = 9223372036854775808.0;
  if (!std::isfinite(value) || value >= kLimit || value < -kLimit) return std::nullopt;
  return static_cast<std::int64_t>(value);
}

std::optional<std::string> stringMember(JsonRef dictionary, std::string_view key) {
  return dictionary.get(key).asString();
}

std::int64_t counter(const std::string& text) { return parseDecimalInteger(text).value_or(0); }

// `value` + 1, or nothing (logged) when it would overflow.
std::optional<std::int64_t> incremented(std::int64_t value, std::string_view property) {
  if (value == std::numeric_limits<std::int64_t>::max()) {
    PelorinConfiguration::log(
        [&] { return fmt::format("The counter '{}' cannot be incremented: {}", property, value); },
        kLogTag, LogFlag::WARNING);
    return std::nullopt;
  }
  return value + 1;
}

std::optional<std::int64_t> firstValueAsInteger(const Values& values) {
  if (values.empty()) return std::nullopt;
  return parseDecimalInteger(values.front());
}

}  // namespace

PropertyMap deviceProperties(const DeviceDescription& device) {
  const std::string osVersion = device.systemName + " " + device.systemVersion;
  PropertyMap properties{
      {"currentosname", {device.systemName}},  {"osname", {device.systemName}},
      {"currentosversion", {osVersion}},       {"osversion", {osVersion}},
      {"language", {device.localeIdentifier}},
  };
  const auto width = truncated(device.screenSize.width);
  const auto height = truncated(device.screenSize.height);
  const auto pixelWidth = truncated(device.screenSize.width * device.screenScale);
  const auto pixelHeight = truncated(device.screenSize.height * device.screenScale);
  if (!width || !height || !pixelWidth || !pixelHeight) {
    PelorinConfiguration::log(
        [&] {
          return fmt::format("The screen size {} x {} at scale {} cannot be stored",
                             device.screenSize.width, device.screenSize.height, device.screenScale);
        },
        kLogTag, LogFlag::WARNING);
    return properties;
  }
  const std::string resolution = fmt::format("{}x{}", *pixelWidth, *pixelHeight);
  properties["currentscreenwidth"] = {std::to_string(*width)};
  properties["currentscreenheight"] = {std::to_string(*height)};
  properties["currentresolution"] = {resolution};
  properties["resolution"] = {resolution};
  return properties;
}

PropertyMap appProperties(JsonRef infoDictionary,
                          const std::optional<std::string>& advertisingIdentifier,
                          const std::string& model) {
  PropertyMap properties;
  if (!infoDictionary.isObject() || infoDictionary.empty()) return properties;
  const auto identifier = stringMember(infoDictionary, "CFBundleIdentifier");
  auto name = stringMember(infoDictionary, "CFBundleDisplayName");
  if (!name) name = stringMember(infoDictionary, "CFBundleName");
  const auto version = stringMember(infoDictionary, "CFBundleShortVersionString");
  if (identifier) properties["mobile_app_id"] = {*identifier};
  if (name) properties["mobile_app_name"] = {*name};
  if (name && version) properties["mobile_app_nameversion"] = {*name + " " + *version};
  // All zeros is what the device answers when the user limited ad tracking.
  if (advertisingIdentifier && !advertisingIdentifier->empty() &&
      *advertisingIdentifier != kAllZeroAdvertisingId) {
    properties["mobile_app_ad_id"] = {*advertisingIdentifier};
  }
  properties["mobile_app_vendor"] = {"Apple"};
  properties["mobile_app_model"] = {model};
  return properties;
}

std::optional<PropertyMap> statisticsProperties(const VisitCounters& counters,
                                                std::int64_t nowMillis) {
  const std::int64_t lastVisitDate = counter(counters.lastVisitDate);
  const std::int64_t visits = counter(counters.visits);
  const auto clickCount = incremented(counter(counters.clickCount), "clickcount");
  if (!clickCount) return std::nullopt;
  PropertyMap properties{{"clickcount", {std::to_string(*clickCount)}}};
  // lastvisitdate + 30 minutes < now, written so that no stored date can overflow it.
  const bool newVisit = visits == 0 || lastVisitDate < nowMillis - kVisitTimeoutMillis;
  if (newVisit) {
    const auto nextVisits = incremented(visits, "visits");
    if (!nextVisits) return std::nullopt;
    properties["visits"] = {std::to_string(*nextVisits)};
    properties["visitclicks"] = {"1"};
  } else {
    const auto visitClicks = incremented(counter(counters.visitClicks), "visitclicks");
    if (!visitClicks) return std::nullopt;
    properties["visitclicks"] = {std::to_string(*visitClicks)};
  }
  properties["lastvisitdate"] = {std::to_string(nowMillis)};
  return properties;
}

PropertyMap originProperties(const std::string& type, const std::optional<Values>& source,
                             const std::optional<Values>& detail) {
  PropertyMap properties{{"origin_type", {type}}};
  if (source && source->size() == 1) properties["origin_source"] = *source;
  if (detail && detail->size() == 1) properties["origin_detail"] = *detail;
  return properties;
}

std::optional<PropertyMap> originFor(const OriginInputs& inputs) {
  const std::size_t types = inputs.originType.size();
  const std::size_t sources = inputs.originSource.size();
  const std::size_t details = inputs.originDetail.size();
  if (types > 1 || sources > 1 || details > 1) {
    // Rewrite in the single-valued form; a list that still holds several values is left
    // out, as it always was.
    return originProperties(
        types == 1 ? inputs.originType.front() : "",
        sources == 1 ? std::optional<Values>(inputs.originSource) : std::nullopt,
        details == 1 ? std::optional<Values>(inputs.originDetail) : std::nullopt);
  }
  if (types + sources + details > 0) return std::nullopt;  // already recorded

  const auto visits = firstValueAsInteger(inputs.visits);
  const bool returning = visits && *visits >= 2;
  const bool visitedSites = !inputs.visitedSites.empty();
  const bool fromSystem = !inputs.receivedFromSystem.empty();
  if (!visitedSites && !fromSystem) {
    return originProperties("mobile_app", inputs.appId, inputs.appNameVersion);
  }
  if (!visitedSites && !returning) {
    return originProperties("connection", inputs.receivedFromSystem, inputs.receivedFromConnection);
  }
  if (!fromSystem && !returning) {
    return originProperties(inputs.deviceType == "PC" ? "web" : "mobile_web", inputs.visitedSites,
                            inputs.entryPage);
  }
  return std::nullopt;
}

}  // namespace pelorin::plugins
