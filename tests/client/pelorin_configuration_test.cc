#include "config/pelorin_configuration.h"

#include <gtest/gtest.h>

#include "config/constants.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

using pelorin::testing::TestPlatform;

class PelorinConfigurationTest : public ::testing::Test {
 protected:
  TestPlatform _test;
};

TEST_F(PelorinConfigurationTest, HostNameWithoutTrailingSlash) {
  _test.bundle().set("pl_server_url", JsonValue("https://a.example"));
  EXPECT_EQ(PelorinConfiguration().getHostName(), "https://a.example");
}

TEST_F(PelorinConfigurationTest, HostNameLosesOneTrailingSlash) {
  _test.bundle().set("pl_server_url", JsonValue("https://a.example/"));
  EXPECT_EQ(PelorinConfiguration().getHostName(), "https://a.example");
}

TEST_F(PelorinConfigurationTest, HostNameEndingInTwoSlashesKeepsOne) {
  _test.bundle().set("pl_server_url", JsonValue("https://a.example//"));
  EXPECT_EQ(PelorinConfiguration().getHostName(), "https://a.example/");
}

TEST_F(PelorinConfigurationTest, NumericHostNameYieldsEmpty) {
  _test.bundle().set("pl_server_url", JsonValue(42));
  EXPECT_EQ(PelorinConfiguration().getHostName(), "");
}

TEST_F(PelorinConfigurationTest, MissingHostNameOrDictionaryYieldsEmpty) {
  EXPECT_EQ(PelorinConfiguration().getHostName(), "");
  _test.bundle().setDictionary(std::nullopt);
  EXPECT_EQ(PelorinConfiguration().getHostName(), "");
}

TEST_F(PelorinConfigurationTest, OverruleHostNameWinsUnchanged) {
  _test.bundle().set("pl_server_url", JsonValue("https://a.example"));
  PelorinConfiguration configuration;
  configuration.setHostName("https://simulator.example/");
  EXPECT_EQ(configuration.getHostName(), "https://simulator.example/");
}

TEST_F(PelorinConfigurationTest, HostNameIsReadOnEveryCall) {
  PelorinConfiguration configuration;
  _test.bundle().set("pl_server_url", JsonValue("h1"));
  EXPECT_EQ(configuration.getHostName(), "h1");
  _test.bundle().set("pl_server_url", JsonValue("h2"));
  EXPECT_EQ(configuration.getHostName(), "h2");
}

TEST_F(PelorinConfigurationTest, LogLineFormat) {
  PelorinConfiguration::log("Hostname: h", "PL_CLIENT", "INFO");
  EXPECT_EQ(_test.console().lines(),
            std::vector<std::string>{"[2024-05-01 13:02:11] INFO [PL_CLIENT]: Hostname: h"});
}

TEST_F(PelorinConfigurationTest, LogLineUsesLocalTime) {
  _test.clock().setUtcOffset(2 * 3600);
  _test.clock().advance(std::chrono::hours(10));  // 23:02:11 UTC, 01:02:11 the next day locally
  PelorinConfiguration::log("m", "PL_CONNECTOR", "WARNING");
  EXPECT_EQ(_test.console().lines(),
            std::vector<std::string>{"[2024-05-02 01:02:11] WARNING [PL_CONNECTOR]: m"});
}

TEST_F(PelorinConfigurationTest, NoLogWithoutDebugKey) {
  _test.bundle().erase("pl_debug");
  PelorinConfiguration::log("m", "PL_CLIENT", "INFO");
  EXPECT_TRUE(_test.console().lines().empty());
  EXPECT_FALSE(PelorinConfiguration::getDebugMode());
}

TEST_F(PelorinConfigurationTest, NoLogWhenDebugIsAString) {
  _test.bundle().set("pl_debug", JsonValue("true"));
  PelorinConfiguration::log("m", "PL_CLIENT", "INFO");
  EXPECT_TRUE(_test.console().lines().empty());
}

TEST_F(PelorinConfigurationTest, LazyLogBuildsNoMessageWhenOff) {
  _test.bundle().set("pl_debug", JsonValue(false));
  bool built = false;
  PelorinConfiguration::log(
      [&] {
        built = true;
        return std::string("m");
      },
      "PL_CLIENT", "INFO");
  EXPECT_FALSE(built);
  _test.bundle().set("pl_debug", JsonValue(true));
  PelorinConfiguration::log(
      [&] {
        built = true;
        return std::string("m");
      },
      "PL_CLIENT", "INFO");
  EXPECT_TRUE(built);
  EXPECT_EQ(_test.logLines(), std::vector<std::string>{"INFO [PL_CLIENT]: m"});
}

TEST_F(PelorinConfigurationTest, PackageNameIsPercentEncodedForAFragment) {
  _test.bundle().set("CFBundleIdentifier", JsonValue("com.shop app/é?a=b&c#d%"));
  EXPECT_EQ(PelorinConfiguration::getPackageName(), "com.shop%20app/%C3%A9?a=b&c%23d%25");
}

TEST_F(PelorinConfigurationTest, PackageNameEmptyWhenAbsentOrMistyped) {
  EXPECT_EQ(PelorinConfiguration::getPackageName(), "");
  _test.bundle().set("CFBundleIdentifier", JsonValue(true));
  EXPECT_EQ(PelorinConfiguration::getPackageName(), "");
}

TEST_F(PelorinConfigurationTest, DomainGroupUrlWithZone) {
  EXPECT_EQ(PelorinConfiguration::getDomaingGroupUrl("h", std::nullopt, "z"),
            "h/DG/DEFAULT/rest/rpc/json/z/?");
}

TEST_F(PelorinConfigurationTest, DomainGroupUrlWithDomainGroup) {
  EXPECT_EQ(PelorinConfiguration::getDomaingGroupUrl("h", "g", std::nullopt),
            "h/DG/g/rest/rpc/json/?");
}

// Both come from the server's answers; a line break must not reach the request line.
TEST_F(PelorinConfigurationTest, DomainGroupUrlEncodesControlCharactersOfGroupAndZone) {
  EXPECT_EQ(PelorinConfiguration::getDomaingGroupUrl("h", "g\r\nX: 1", "z\n\x01"),
            "h/DG/g%0D%0AX: 1/rest/rpc/json/z%0A%01/?");
}

TEST_F(PelorinConfigurationTest, DomainGroupUrlWithEmptyHost) {
  EXPECT_EQ(PelorinConfiguration::getDomaingGroupUrl("", std::nullopt, std::nullopt),
            "/DG/DEFAULT/rest/rpc/json/?");
}

TEST_F(PelorinConfigurationTest, ParametersToDictionaryMapsIdsToValues) {
  auto list = JsonValue::parse(
      R"([{"id":"a","value":["1","2"]},{"id":"b","value":[],"extra":1},{"value":["x"]}])");
  EXPECT_EQ(PelorinConfiguration::parametersToDictionary(list->ref()),
            (Parameters{{"a", {"1", "2"}}, {"b", {}}, {"", {"x"}}}));
}

TEST_F(PelorinConfigurationTest, ParametersToDictionarySingleStringValueGivesEmptyList) {
  auto list = JsonValue::parse(R"([{"id":"a","value":"1"}])");
  EXPECT_EQ(PelorinConfiguration::parametersToDictionary(list->ref()), (Parameters{{"a", {}}}));
}

TEST_F(PelorinConfigurationTest, ParametersToDictionaryLaterIdWins) {
  auto list = JsonValue::parse(R"([{"id":"a","value":["1"]},{"id":"a","value":["2"]}])");
  EXPECT_EQ(PelorinConfiguration::parametersToDictionary(list->ref()), (Parameters{{"a", {"2"}}}));
}

TEST_F(PelorinConfigurationTest, ParametersToDictionaryOfEmptyListIsEmpty) {
  auto list = JsonValue::parse("[]");
  EXPECT_TRUE(PelorinConfiguration::parametersToDictionary(list->ref()).empty());
  EXPECT_TRUE(PelorinConfiguration::parametersToDictionary(JsonRef()).empty());
}

TEST(ConstantsTest, NamesAndFiles) {
  EXPECT_EQ(Constants::PELORIN_NAME, "Pelorin iOS SDK 2.8.2");
  EXPECT_EQ(Constants::Files::COMMITLOG, "plcommitlog5.2.data");
  EXPECT_EQ(Constants::Files::REQUEST_COMMITLOG, "plrequestcommitlog5.2.data");
  EXPECT_EQ(Constants::Files::CACHE, "cache5.2.data");
  EXPECT_EQ(Constants::Files::ID, "id.data");
  EXPECT_EQ(Constants::Files::ENABLED, "enabled.data");
  EXPECT_EQ(Constants::Files::SIMULATOR_USERNAME, "plsimulatorusername.data");
  EXPECT_EQ(Constants::Files::SIMULATOR_MOBILESESSION, "plsimulatormobilesession.data");
  EXPECT_EQ(
      Constants::Files::PL_FILES,
      (std::array<std::string, 3>{"plcommitlog.data", "plrequestcommitlog.data", "cache.data"}));
}

}  // namespace
}  // namespace pelorin
