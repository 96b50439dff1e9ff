#include "devserver/derived_values.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <boost/json.hpp>

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

// Sums of points: wide enough that adding 64-bit points never overflows in practice (2^64
// values of the largest point count).
__extension__ using Wide = __int128;

enum class Form { kClassic, kHalfTime };

struct Point {
  std::string name;
  std::int64_t day = 0;  // since 1 January 1970
  std::int64_t points = 0;
};

// The points of one value, and its form.
struct PointData {
  Form form = Form::kClassic;
  std::vector<Point> points;
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

// The point data of one hidden value; nothing when it is not point data.
std::optional<PointData> pointDataOf(const std::string& text) {
  std::optional<JsonValue> value = JsonValue::parse(text);
  if (!value || !value->isObject() || !(*value)["TIME"].isString()) return std::nullopt;
  if (auto points = halfTimePoints(value->ref())) {
    return PointData{Form::kHalfTime, std::move(*points)};
  }
  if (auto points = classicPoints(value->ref())) {
    return PointData{Form::kClassic, std::move(*points)};
  }
  return std::nullopt;
}

// Whether a point of `day` still counts when the newest day in the data is `newest`: its
// weight, measured from the newest day, is at least 2^-kCountedHalfLives.
bool counts(std::int64_t day, std::int64_t newest, double halfLifeDays) {
  return halfLifeDays <= 0 ||
         static_cast<double>(newest - day) <= DerivedValues::kCountedHalfLives * halfLifeDays;
}

// `sum` as 64-bit pieces of the same sign whose total is `sum`: one piece unless it is beyond
// the 64-bit range.
std::vector<std::int64_t> pieces(Wide sum) {
  constexpr Wide kMax = std::numeric_limits<std::int64_t>::max();
  constexpr Wide kMin = std::numeric_limits<std::int64_t>::min();
  std::vector<std::int64_t> result;
  while (sum > kMax) {
    result.push_back(std::numeric_limits<std::int64_t>::max());
    sum -= kMax;
  }
  while (sum < kMin) {
    result.push_back(std::numeric_limits<std::int64_t>::min());
    sum -= kMin;
  }
  result.push_back(static_cast<std::int64_t>(sum));
  return result;
}

}  // namespace

std::optional<std::vector<std::string>> DerivedValues::derive(
    const std::vector<std::string>& hidden) const {
  std::vector<std::pair<Form, Point>> points;
  for (const std::string& text : hidden) {
    std::optional<PointData> data = pointDataOf(text);
    if (!data) continue;
    for (Point& point : data->points) points.emplace_back(data->form, std::move(point));
  }
  if (points.empty()) return std::nullopt;

  const std::int64_t newest =
      std::ranges::max(points, {}, [](const auto& entry) { return entry.second.day; }).second.day;
  const std::int64_t today =
      _options.now ? daysSince(std::chrono::sys_days(), _options.now()) : newest;
  // Exact sums per name and day first, so that the result depends only on them.
  std::map<std::string, std::map<std::int64_t, Wide>> sums;
  bool onlyScore = true;
  for (const auto& [form, point] : points) {
    if (!counts(point.day, newest, _options.halfLifeDays)) continue;
    onlyScore = onlyScore && form == Form::kClassic && point.name == "k";
    sums[point.name][point.day] += point.points;
  }
  std::map<std::string, double> totals;
  for (const auto& [name, days] : sums) {
    double& total = totals[name];
    for (const auto& [day, sum] : days) {
      // Points from a day after today count in full.
      const double age = static_cast<double>(std::max<std::int64_t>(0, today - day));
      const double weight =
          _options.halfLifeDays > 0 ? std::exp2(-age / _options.halfLifeDays) : 1.0;
      total += static_cast<double>(sum) * weight;
    }
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

std::vector<std::string> DerivedValues::fold(const std::vector<std::string>& hidden,
                                             const std::vector<std::string>& keep) const {
  const std::set<std::string, std::less<>> kept(keep.begin(), keep.end());
  std::vector<std::string> rest;
  std::vector<std::pair<Form, Point>> points;
  std::optional<std::int64_t> newest;
  for (const std::string& text : hidden) {
    std::optional<PointData> data = pointDataOf(text);
    for (const Point& point : data ? data->points : std::vector<Point>()) {
      newest = std::max(newest.value_or(point.day), point.day);
    }
    if (!data || kept.contains(text)) {
      rest.push_back(text);
      continue;
    }
    for (Point& point : data->points) points.emplace_back(data->form, std::move(point));
  }

  // Per form and day (since 1970), per name, the sum of the points that still count.
  std::map<std::pair<Form, std::int64_t>, std::map<std::string, Wide>> days;
  for (const auto& [form, point] : points) {
    if (!counts(point.day, *newest, _options.halfLifeDays)) continue;
    days[{form, point.day}][point.name] += point.points;
  }

  std::vector<std::string> folded;
  for (const auto& [key, names] : days) {
    const auto& [form, day] = key;
    if (form == Form::kHalfTime) {
      boost::json::array data;
      for (const auto& [name, sum] : names) {
        for (const std::int64_t piece : pieces(sum)) {
          data.emplace_back(boost::json::object{{"n", name}, {"p", piece}});
        }
      }
      folded.push_back(boost::json::serialize(boost::json::object{
          {"TIME", kFoldedTime}, {"days", day - kHalfTimeEpochDay}, {"data", std::move(data)}}));
      continue;
    }
    // A classic value holds one sum per name and day: a sum beyond 64 bits needs more values.
    const std::string dayKey = fmt::format("p{}", day - kClassicEpochDay);
    std::vector<boost::json::object> values;
    for (const auto& [name, sum] : names) {
      const std::vector<std::int64_t> split = pieces(sum);
      for (std::size_t i = 0; i < split.size(); ++i) {
        if (values.size() <= i) values.push_back(boost::json::object{{"TIME", kFoldedTime}});
        values[i][name] = boost::json::object{{dayKey, split[i]}};
      }
    }
    for (const auto& value : values) folded.push_back(boost::json::serialize(value));
  }
  folded.insert(folded.end(), std::make_move_iterator(rest.begin()),
                std::make_move_iterator(rest.end()));
  return folded;
}

}  // namespace pelorin::devserver
