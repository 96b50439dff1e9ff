#include <sys/utsname.h>

#include <memory>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "pelorin/platform/headless.h"
#include "pelorin/platform/platform.h"

namespace pelorin::platform {
namespace {

// What every device promises, run against each implementation.
class DeviceContractTest : public ::testing::TestWithParam<std::shared_ptr<Device>> {};

TEST_P(DeviceContractTest, NamesItsSystemAndModel) {
  const Device& device = *GetParam();

  EXPECT_FALSE(device.systemName().empty());
  EXPECT_FALSE(device.systemVersion().empty());
  EXPECT_FALSE(device.hardwareModel().empty());
}

TEST_P(DeviceContractTest, AdvertisingIdentifierIsAbsentOrUuidText) {
  const auto identifier = GetParam()->advertisingIdentifier();

  if (identifier) {
    EXPECT_TRUE(std::regex_match(
        *identifier, std::regex("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}")))
        << *identifier;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Devices, DeviceContractTest,
    ::testing::Values(std::make_shared<PosixDevice>(),
                      std::make_shared<HeadlessDevice>("iOS", "17.4", "iPhone10,3"),
                      std::make_shared<HeadlessDevice>("iOS", "11.2", "iPhone10,6",
                                                       "00000000-0000-0000-0000-000000000000")));

TEST(PosixDeviceTest, ReportsUnameSystemReleaseAndMachine) {
  struct utsname names {};
  ASSERT_EQ(uname(&names), 0);
  const PosixDevice device;

  EXPECT_EQ(device.systemName(), names.sysname);
  EXPECT_EQ(device.systemVersion(), names.release);
  EXPECT_EQ(device.hardwareModel(), names.machine);
  EXPECT_EQ(device.advertisingIdentifier(), std::nullopt);
}

TEST(HeadlessDeviceTest, ValuesCanBeChanged) {
  HeadlessDevice device("iOS", "17.4", "iPhone10,3");

  device.setSystemName("iPadOS");
  device.setSystemVersion("16.0");
  device.setHardwareModel("iPad7,3");
  device.setAdvertisingIdentifier("6D92078A-8246-4BA4-AE5B-76104861E7DC");

  EXPECT_EQ(device.systemName(), "iPadOS");
  EXPECT_EQ(device.systemVersion(), "16.0");
  EXPECT_EQ(device.hardwareModel(), "iPad7,3");
  EXPECT_EQ(device.advertisingIdentifier(), "6D92078A-8246-4BA4-AE5B-76104861E7DC");
}

TEST(PlatformDeviceTest, DefaultPlatformDescribesThisMachine) {
  const Platform platform;

  EXPECT_NE(dynamic_cast<PosixDevice*>(&platform.device()), nullptr);
}

TEST(PlatformDeviceTest, InstalledDeviceIsTheCurrentOne) {
  auto platform = std::make_unique<Platform>();
  platform->setDevice(std::make_unique<HeadlessDevice>("iOS", "11.2", "iPhone10,3"));
  Platform::install(std::move(platform));

  EXPECT_EQ(Platform::current().device().hardwareModel(), "iPhone10,3");
}

}  // namespace
}  // namespace pelorin::platform
