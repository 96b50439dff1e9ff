#include "plugins/preferred_hour_listener.h"

#include <chrono>

#include <boost/json/object.hpp>

#include "pelorin/json_value.h"

namespace pelorin {
namespace {

// 2012-01-01 00:00:00 UTC.
constexpr std::chrono::sys_days kDayZero{std::chrono::year{2012} / 1 / 1};

}  // namespace

std::string PreferredHourListener::get(int hour, std::string_view locale) {
  if (locale == "en-us") {
    int twelve = hour % 12;
    if (twelve == 0) twelve = 12;
    return std::to_string(twelve) + (hour < 12 ? " AM" : " PM");
  }
  // The space after the zero is deliberate: the server compares labels as text.
  return (hour < 10 ? "0 " : "") + std::to_string(hour) + ":00";
}

std::int64_t PreferredHourListener::daysSince2012(platform::Clock::TimePoint date) {
  return std::chrono::floor<std::chrono::days>(date - kDayZero).count();
}

std::string PreferredHourListener::pointText(int hour, std::string_view locale,
                                             platform::Clock::TimePoint now) {
  const std::string label = get(hour, locale) + " - " + get(hour + 1, locale);
  const auto millis =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
  boost::json::object points;
  points["p" + std::to_string(daysSince2012(now))] = 1;
  boost::json::object value;
  value[label] = std::move(points);
  value["TIME"] = std::to_string(millis);
  return serializeJson(value, false);
}

}  // namespace pelorin
