#include "devserver/derived_values.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <string_view>

#include "base/day_number.h"
#include "base/decimal_integer.h"
#include "pelorin/json_value.h"

namespace pelorin::devserver {
namespace {

// Day 0 of each form, counted from 1 January 1970.
constexpr std::int64_t kClassicEpochDay = 15340;   // 1 January 2012
constexpr std::int64_t kHalfTimeEpochDay = 17410;  // 1 September 2017
static_assert(kClassicEpochDay == kClassicDayZero.time_since_epoch().count());
static_assert(kHalfTimeEpochDay == kHalfTimeDayZero.time_since_epoch().count());

struct Point {
  std::string name;
  std::int64_t day = 0;  // since 1 January 1970
  std::int64_t points = 0;
};

// The points of one classic value; nothing when the value is not of that form. Points that
// cannot be placed in time are left out rather than guessed.
std::optional<std::vector<Point>> classicPoints(JsonRef value) {
  std::vector<Point> points;
  for (const auto& [name, days] : value.members()) {
    if (name == "TIME") continue;
    if (!days.isObject()) return std::nullopt;
    for (const auto& [key, count] : days.members()) {
      if (!key.starts_with("p")) return std::nullopt;
      const std::optional<std::int64_t> day = parseDecimalInteger(key.substr(1));
      const std::optional<std::int64_t> sum = count.asInt();
      if (!day || !sum) return std::nullopt;
      // Far beyond any calendar: not a day of this form.
      if (*day < -kClassicEpochDay || *day > 10'000'000) return std::nullopt;
      points.push_back(Point{std::string(name), *day + kClassicEpochDay, *sum});
    }
  }
  return points;
}

// The points of one half-time value; nothing when the value is not of that form.
std::optional<std::vector<Point>> halfTimePoints(JsonRef value) {
  const std::optional<std::int64_t> day = value["days"].asInt();
  if (!day || !value["data"].isArray() || value.size() != 3) return std::nullopt;
  if (*day < -kHalfTimeEpochDay || *day > 10'000'000) return std::nullopt;
  std::vector<Point> points;
  for (const JsonRef& entry : value["data"].elements()) {
    const std::optional<std::string> name = entry["n"].asString();
    const std::optional<std::int64_t> count = entry["p"].asInt();
    if (!name || !count) return std::nullopt;
    points.push_back(Point{*name, *day + kHalfTimeEpochDay, *count});
  }
  return points;
}

}  // namespace

std::optional<std::vector<std::string>> DerivedValues::derive(
    const std::vector<std::string>& hidden) const {
  std::vector<Point> points;
  bool onlyScore = true;
  for (const std::string& text : hidden) {
    std::optional<JsonValue> value = JsonValue::parse(text);
    if (!value || !value->isObject() || !(*value)["TIME"].isString()) continue;
    std::optional<std::vector<Point>> found = halfTimePoints(value->ref());
    if (found) {
      onlyScore = false;
    } else {
      found = classicPoints(value->ref());
      if (!found) continue;
    }
    for (Point& point : *found) {
      onlyScore = onlyScore && point.name == "k";
      points.push_back(std::move(point));
    }
  }
  if (points.empty()) return std::nullopt;

  std::int64_t today = 0;
  if (_options.now) {
    today = daysSince(std::chrono::sys_days(), _options.now());
  } else {
    today = std::ranges::max(points, {}, &Point::day).day;
  }
  std::map<std::string, double> totals;
  for (const Point& point : points) {
    // Points from a day after today count in full.
    const double age = static_cast<double>(std::max<std::int64_t>(0, today - point.day));
    const double weight = _options.halfLifeDays > 0 ? std::exp2(-age / _options.halfLifeDays) : 1.0;
    totals[point.name] += static_cast<double>(point.points) * weight;
  }

  if (onlyScore) {
    const double score = std::round(totals["k"]);
    // 2^63: the first value beyond the 64-bit range.
    if (!std::isfinite(score) || score < -9.2233720368547758e18 || score >= 9.2233720368547758e18) {
      return std::nullopt;
    }
    return std::vector<std::string>{std::to_string(static_cast<std::int64_t>(score))};
  }
  std::vector<std::pair<std::string, double>> ranked(totals.begin(), totals.end());
  // std::map gives the names in order, and the stable sort keeps it among equal points.
  std::ranges::stable_sort(ranked,
                           [](const auto& a, const auto& b) { return a.second > b.second; });
  std::vector<std::string> names;
  names.reserve(ranked.size());
  for (auto& [name, total] : ranked) names.push_back(std::move(name));
  return names;
}

}  // namespace pelorin::devserver
