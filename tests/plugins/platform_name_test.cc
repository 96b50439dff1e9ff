#include "plugins/platform_name.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace pelorin::plugins {
namespace {

TEST(PlatformNameTest, TableHoldsTheSixtyEightKeysInLookupOrder) {
  const std::vector<std::string> expected = {
      "iPod5,1",    "iPod7,1",    "iPhone3,1",  "iPhone3,2",  "iPhone3,3",  "iPhone4,1",
      "iPhone5,1",  "iPhone5,2",  "iPhone5,3",  "iPhone5,4",  "iPhone6,1",  "iPhone6,2",
      "iPhone7,2",  "iPhone7,1",  "iPhone8,1",  "iPhone8,2",  "iPhone9,1",  "iPhone9,3",
      "iPhone9,2",  "iPhone9,4",  "iPhone8,4",  "iPhone10,1", "iPhone10,4", "iPhone10,2",
      "iPhone10,5", "iPhone10,3", "iPhone10,6", "iPad2,1",    "iPad2,2",    "iPad2,3",
      "iPad2,4",    "iPad3,1",    "iPad3,2",    "iPad3,3",    "iPad3,4",    "iPad3,5",
      "iPad3,6",    "iPad4,1",    "iPad4,2",    "iPad4,3",    "iPad5,3",    "iPad5,4",
      "iPad6,11",   "iPad6,12",   "iPad2,5",    "iPad2,6",    "iPad2,7",    "iPad4,4",
      "iPad4,5",    "iPad4,6",    "iPad4,7",    "iPad4,8",    "iPad4,9",    "iPad5,1",
      "iPad5,2",    "iPad6,3",    "iPad6,4",    "iPad6,7",    "iPad6,8",    "iPad7,1",
      "iPad7,2",    "iPad7,3",    "iPad7,4",    "AppleTV5,3", "AppleTV6,2", "AudioAccessory1,1",
      "i386",       "x86_64"};

  std::vector<std::string> keys;
  for (const auto& [key, name] : platformNames()) keys.emplace_back(key);

  EXPECT_EQ(keys, expected);
}

TEST(PlatformNameTest, IPodAndIPhoneKeysGiveTheirMarketingNames) {
  EXPECT_EQ(getPlatformName("iPod5,1"), "iPod Touch 5");
  EXPECT_EQ(getPlatformName("iPod7,1"), "iPod Touch 6");
  EXPECT_EQ(getPlatformName("iPhone3,1"), "iPhone 4");
  EXPECT_EQ(getPlatformName("iPhone3,3"), "iPhone 4");
  EXPECT_EQ(getPlatformName("iPhone4,1"), "iPhone 4s");
  EXPECT_EQ(getPlatformName("iPhone5,2"), "iPhone 5");
  EXPECT_EQ(getPlatformName("iPhone5,4"), "iPhone 5c");
  EXPECT_EQ(getPlatformName("iPhone6,2"), "iPhone 5s");
  EXPECT_EQ(getPlatformName("iPhone7,2"), "iPhone 6");
  EXPECT_EQ(getPlatformName("iPhone7,1"), "iPhone 6 Plus");
  EXPECT_EQ(getPlatformName("iPhone8,1"), "iPhone 6s");
  EXPECT_EQ(getPlatformName("iPhone8,2"), "iPhone 6s Plus");
  EXPECT_EQ(getPlatformName("iPhone8,4"), "iPhone SE");
  EXPECT_EQ(getPlatformName("iPhone9,3"), "iPhone 7");
  EXPECT_EQ(getPlatformName("iPhone9,4"), "iPhone 7 Plus");
  EXPECT_EQ(getPlatformName("iPhone10,4"), "iPhone 8");
  EXPECT_EQ(getPlatformName("iPhone10,5"), "iPhone 8 Plus");
  EXPECT_EQ(getPlatformName("iPhone10,3"), "iPhone X");
  EXPECT_EQ(getPlatformName("iPhone10,6"), "iPhone X");
}

TEST(PlatformNameTest, IPadKeysGiveTheirMarketingNames) {
  EXPECT_EQ(getPlatformName("iPad2,4"), "iPad 2");
  EXPECT_EQ(getPlatformName("iPad3,3"), "iPad 3");
  EXPECT_EQ(getPlatformName("iPad3,6"), "iPad 4");
  EXPECT_EQ(getPlatformName("iPad4,3"), "iPad Air");
  EXPECT_EQ(getPlatformName("iPad5,4"), "iPad Air 2");
  EXPECT_EQ(getPlatformName("iPad6,12"), "iPad 5");
  EXPECT_EQ(getPlatformName("iPad2,7"), "iPad Mini");
  EXPECT_EQ(getPlatformName("iPad4,6"), "iPad Mini 2");
  EXPECT_EQ(getPlatformName("iPad4,9"), "iPad Mini 3");
  EXPECT_EQ(getPlatformName("iPad5,1"), "iPad Mini 4");
  EXPECT_EQ(getPlatformName("iPad5,2"), "iPad Mini 4");
  EXPECT_EQ(getPlatformName("iPad6,3"), "iPad Pro 9.7 Inch");
  EXPECT_EQ(getPlatformName("iPad6,4"), "iPad Pro 9.7 Inch");
  EXPECT_EQ(getPlatformName("iPad6,7"), "iPad Pro 12.9 Inch");
  EXPECT_EQ(getPlatformName("iPad6,8"), "iPad Pro 12.9 Inch");
  EXPECT_EQ(getPlatformName("iPad7,1"), "iPad Pro 12.9 Inch 2. Generation");
  EXPECT_EQ(getPlatformName("iPad7,2"), "iPad Pro 12.9 Inch 2. Generation");
  EXPECT_EQ(getPlatformName("iPad7,3"), "iPad Pro 10.5 Inch");
  EXPECT_EQ(getPlatformName("iPad7,4"), "iPad Pro 10.5 Inch");
}

TEST(PlatformNameTest, OtherDevicesAndSimulators) {
  EXPECT_EQ(getPlatformName("AppleTV5,3"), "Apple TV");
  EXPECT_EQ(getPlatformName("AppleTV6,2"), "Apple TV");
  EXPECT_EQ(getPlatformName("AudioAccessory1,1"), "HomePod");
  EXPECT_EQ(getPlatformName("i386"), "Simulator");
  EXPECT_EQ(getPlatformName("x86_64"), "Simulator");
}

TEST(PlatformNameTest, UnknownModelIsReturnedUnchanged) {
  EXPECT_EQ(getPlatformName("iPhone15,2"), "iPhone15,2");
  EXPECT_EQ(getPlatformName("aarch64"), "aarch64");
  EXPECT_EQ(getPlatformName(""), "");
}

TEST(PlatformNameTest, MatchingIsExact) {
  EXPECT_EQ(getPlatformName("iphone10,3"), "iphone10,3");
  EXPECT_EQ(getPlatformName("iPhone10,3 "), "iPhone10,3 ");
  EXPECT_EQ(getPlatformName("iPad6,1"), "iPad6,1");
}

}  // namespace
}  // namespace pelorin::plugins
