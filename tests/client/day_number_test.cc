#include "base/day_number.h"

#include <chrono>
#include <limits>

#include <gtest/gtest.h>

namespace pelorin {
namespace {

using std::chrono::hours;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::system_clock;
using TimePoint = system_clock::time_point;

constexpr sys_days kMay1st2024{std::chrono::year{2024} / 5 / 1};

TEST(DayNumberTest, DayZeroOfEachEpochIsZero) {
  EXPECT_EQ(daysSince(kClassicDayZero, TimePoint(kClassicDayZero)), 0);
  EXPECT_EQ(daysSince(kHalfTimeDayZero, TimePoint(kHalfTimeDayZero)), 0);
}

TEST(DayNumberTest, SecondBeforeABoundaryBelongsToTheDayBefore) {
  EXPECT_EQ(daysSince(kClassicDayZero, TimePoint(kClassicDayZero) + hours(24) - seconds(1)), 0);
  EXPECT_EQ(daysSince(kClassicDayZero, TimePoint(kClassicDayZero) + hours(24)), 1);
  EXPECT_EQ(daysSince(kHalfTimeDayZero, TimePoint(kHalfTimeDayZero) - seconds(1)), -1);
  EXPECT_EQ(daysSince(kHalfTimeDayZero, TimePoint(kHalfTimeDayZero) - nanoseconds(1)), -1);
}

TEST(DayNumberTest, PinnedTestInstantInBothEpochs) {
  // 2024-05-01 13:02:11 UTC.
  const TimePoint now = TimePoint(kMay1st2024) + hours(13) + seconds(131);
  EXPECT_EQ(daysSince(kClassicDayZero, now), 4504);
  EXPECT_EQ(daysSince(kHalfTimeDayZero, now), 2434);
}

TEST(DayNumberTest, ExtremesOfTheClockDoNotOverflow) {
  EXPECT_EQ(daysSince(kClassicDayZero, TimePoint::max()), 91411);
  EXPECT_EQ(daysSince(kClassicDayZero, TimePoint::min()), -122092);
}

}  // namespace
}  // namespace pelorin
