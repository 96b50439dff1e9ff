#include "plugins/preferred_hour_listener.h"

#include <chrono>

#include <boost/json/object.hpp>

#include "base/day_number.h"
#include "json/json_value_access.h"
#include "listeners/listener_util.h"
#include "pelorin/json_value.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/platform/platform.h"

namespace pelorin {
PreferredHourListener::PreferredHourListener(PelorinClient& client, InteractionContext context)
    : _client(client), _context(std::move(context)) {}

void PreferredHourListener::onLoad() {
  const auto property = ListenerUtil::getProfilePropertyFromParameters(_context.getParameters());
  if (!property) return;
  const auto& parameters = _context.getParameters();
  auto locale = parameters.find(std::string(PARAMETER_LOCALE));
  const std::string localeName =
      locale == parameters.end() || locale->second.empty() ? "" : locale->second.front();
  const platform::Clock& clock = Platform::current().clock();
  const auto now = clock.now();
  const std::string text = pointText(clock.toLocal(now).hour, localeName, now);
  // Added, not set: the server counts every load.
  PelorinClient::synchronized([&] { _client.addProfileValue("_" + *property, text); });
}

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
  return daysSince(kClassicDayZero, date);
}

std::string PreferredHourListener::pointText(int hour, std::string_view locale,
                                             platform::Clock::TimePoint now) {
  const std::string label = get(hour, locale) + " - " + get(hour + 1, locale);
  const auto millis =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
  boost::json::object points;
  // Appended rather than `"p" + ...`: g++ 12 at -O3 warns falsely (-Wrestrict) on that form.
  std::string day = "p";
  day += std::to_string(daysSince2012(now));
  points[day] = 1;
  boost::json::object value;
  value[label] = std::move(points);
  value["TIME"] = std::to_string(millis);
  return serializeJson(value, false);
}

}  // namespace pelorin
