#include "plugins/preferred_hour_listener.h"

#include <chrono>

#include <gtest/gtest.h>

#include "support/test_platform.h"

namespace pelorin {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using TimePoint = platform::Clock::TimePoint;

constexpr TimePoint at(std::chrono::sys_days day, hours h = hours(0), minutes m = minutes(0)) {
  return TimePoint(day) + h + m;
}

constexpr std::chrono::sys_days kMay1st2024{std::chrono::year{2024} / 5 / 1};

// The value a load at `now` stores, with the hour read from the pinned clock's time zone.
std::string loadAt(testing::TestPlatform& test, TimePoint now, std::string_view locale) {
  test.clock().set(now);
  const int hour = test.clock().toLocal(test.clock().now()).hour;
  return PreferredHourListener::pointText(hour, locale, test.clock().now());
}

TEST(PreferredHourListenerTest, TwelveHourLabelsOfTheEdgeHours) {
  EXPECT_EQ(PreferredHourListener::get(0, "en-us"), "12 AM");
  EXPECT_EQ(PreferredHourListener::get(1, "en-us"), "1 AM");
  EXPECT_EQ(PreferredHourListener::get(11, "en-us"), "11 AM");
  EXPECT_EQ(PreferredHourListener::get(12, "en-us"), "12 PM");
  EXPECT_EQ(PreferredHourListener::get(15, "en-us"), "3 PM");
  EXPECT_EQ(PreferredHourListener::get(23, "en-us"), "11 PM");
  EXPECT_EQ(PreferredHourListener::get(24, "en-us"), "12 PM");
}

TEST(PreferredHourListenerTest, TwentyFourHourLabelsPrefixZeroAndSpaceBelowTen) {
  EXPECT_EQ(PreferredHourListener::get(0, ""), "0 0:00");
  EXPECT_EQ(PreferredHourListener::get(9, "nl-nl"), "0 9:00");
  EXPECT_EQ(PreferredHourListener::get(10, "nl-nl"), "10:00");
  EXPECT_EQ(PreferredHourListener::get(15, ""), "15:00");
  EXPECT_EQ(PreferredHourListener::get(24, "de-de"), "24:00");
}

TEST(PreferredHourListenerTest, LocaleOtherThanLowerCaseEnUsGivesTwentyFourHourLabels) {
  EXPECT_EQ(PreferredHourListener::get(15, "EN-US"), "15:00");
  EXPECT_EQ(PreferredHourListener::get(15, "en_US"), "15:00");
  EXPECT_EQ(PreferredHourListener::get(15, "en-us "), "15:00");
}

TEST(PreferredHourListenerTest, HalfPastMidnightLocalInEnUsIsTwelveAmToOneAm) {
  testing::TestPlatform test;
  test.clock().setUtcOffset(2 * 3600);  // local 2024-05-02 00:30 is 2024-05-01 22:30 UTC

  const std::string value = loadAt(test, at(kMay1st2024, hours(22), minutes(30)), "en-us");

  // The day number counts UTC days; the hour is the device's.
  EXPECT_EQ(value, R"({"12 AM - 1 AM":{"p4504":1},"TIME":"1714602600000"})");
}

TEST(PreferredHourListenerTest, ElevenTenInEnUsIsElevenAmToTwelvePm) {
  testing::TestPlatform test;
  test.clock().setUtcOffset(-5 * 3600);

  const std::string value = loadAt(test, at(kMay1st2024, hours(16), minutes(10)), "en-us");

  EXPECT_EQ(value, R"({"11 AM - 12 PM":{"p4504":1},"TIME":"1714579800000"})");
}

TEST(PreferredHourListenerTest, ElevenFiftyNineAtNightInEnUsIsElevenPmToTwelvePm) {
  testing::TestPlatform test;
  test.clock().setUtcOffset(0);

  const std::string value = loadAt(test, at(kMay1st2024, hours(23), minutes(59)), "en-us");

  EXPECT_EQ(value, R"({"11 PM - 12 PM":{"p4504":1},"TIME":"1714607940000"})");
}

TEST(PreferredHourListenerTest, NineOhFiveInDutchKeepsTheSpaceAfterTheZero) {
  testing::TestPlatform test;
  test.clock().setUtcOffset(2 * 3600);

  const std::string value = loadAt(test, at(kMay1st2024, hours(7), minutes(5)), "nl-nl");

  EXPECT_EQ(value, R"({"0 9:00 - 10:00":{"p4504":1},"TIME":"1714547100000"})");
}

TEST(PreferredHourListenerTest, UpperCaseEnUsStoresTwentyFourHourLabels) {
  testing::TestPlatform test;

  const std::string value = loadAt(test, at(kMay1st2024, hours(15)), "EN-US");

  EXPECT_EQ(value, R"({"15:00 - 16:00":{"p4504":1},"TIME":"1714575600000"})");
}

TEST(PreferredHourListenerTest, SecondOfJanuary2012AtMidnightUtcIsDayOne) {
  testing::TestPlatform test;
  constexpr std::chrono::sys_days kJanuary2nd2012{std::chrono::year{2012} / 1 / 2};

  const std::string value = loadAt(test, at(kJanuary2nd2012), "");

  EXPECT_EQ(value, R"({"0 0:00 - 0 1:00":{"p1":1},"TIME":"1325462400000"})");
}

TEST(PreferredHourListenerTest, DayNumberCountsWholeUtcDaysRoundingDown) {
  constexpr std::chrono::sys_days kDayZero{std::chrono::year{2012} / 1 / 1};

  EXPECT_EQ(PreferredHourListener::daysSince2012(TimePoint(kDayZero)), 0);
  EXPECT_EQ(PreferredHourListener::daysSince2012(TimePoint(kDayZero) + hours(24) - seconds(1)), 0);
  EXPECT_EQ(PreferredHourListener::daysSince2012(TimePoint(kDayZero) + hours(24)), 1);
  EXPECT_EQ(PreferredHourListener::daysSince2012(TimePoint(kDayZero) - seconds(1)), -1);
  EXPECT_EQ(PreferredHourListener::daysSince2012(at(kMay1st2024, hours(13))), 4504);
}

}  // namespace
}  // namespace pelorin
