// Day numbers: whole days elapsed since a fixed day, as the plug-ins stamp their point data
// with them.
//
// Thread safety: stateless; safe from any thread.
#ifndef PELORIN_SRC_BASE_DAY_NUMBER_H_
#define PELORIN_SRC_BASE_DAY_NUMBER_H_

#include <chrono>
#include <cstdint>

namespace pelorin {

// 1 January 2012 00:00 UTC: day 0 of the classic point data.
inline constexpr std::chrono::sys_days kClassicDayZero{std::chrono::year{2012} / 1 / 1};
// 1 September 2017 00:00 UTC: day 0 of the half-time point data.
inline constexpr std::chrono::sys_days kHalfTimeDayZero{std::chrono::year{2017} / 9 / 1};

// Whole days from `dayZero` to `time`, rounded down (negative before `dayZero`). Counted in
// whole seconds, so no time the system clock can hold overflows:
//
//   daysSince(kClassicDayZero, sys_days{2012y / 1 / 2} + 12h)  // 1
//   daysSince(kClassicDayZero, sys_days{2012y / 1 / 1} - 1s)   // -1
inline std::int64_t daysSince(std::chrono::sys_days dayZero,
                              std::chrono::system_clock::time_point time) {
  const std::int64_t seconds =
      std::chrono::floor<std::chrono::seconds>(time.time_since_epoch()).count() -
      std::chrono::sys_seconds(dayZero).time_since_epoch().count();
  constexpr std::int64_t kSecondsPerDay = 86400;
  std::int64_t days = seconds / kSecondsPerDay;
  if (seconds % kSecondsPerDay < 0) --days;
  return days;
}

}  // namespace pelorin

#endif  // PELORIN_SRC_BASE_DAY_NUMBER_H_
