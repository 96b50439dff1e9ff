// The client facade and its engine without a server: construction, local profile state,
// the disabled client, the simulator link and result processing.
#include "pelorin/pelorin_client.h"

#include <algorithm>
#include <fstream>
#include <regex>
#include <sstream>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "client/client_testing.h"
#include "client/plugin_registry.h"
#include "pelorin/headless/toolkit.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

using Lines = std::vector<std::string>;

class PelorinClientTest : public ::testing::Test {
 protected:
  PelorinClientTest() {
    // A server address nobody listens on: these tests never reach a server.
    _test.bundle().set("pl_server_url", JsonValue("http://127.0.0.1:9/"));
    _test.bundle().set("CFBundleIdentifier", JsonValue("com.example.shop"));
  }

  PelorinClient& client() { return PelorinClient::getInstance(); }
  PelorinClientImpl& engine() ASSERT_CAPABILITY(globalLock()) {
    return ClientTesting::engine(client());
  }

  // A file of the library's folder, once the writer thread wrote what was asked of it.
  std::string storedFile(const std::string& name) const {
    ClientTesting::waitForWrites(PelorinClient::getInstance());
    std::ifstream in(_test.documentsFolder() + "/pelorin/" + name, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }
  void writeStoredFile(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories(_test.documentsFolder() + "/pelorin");
    std::ofstream(_test.documentsFolder() + "/pelorin/" + name, std::ios::binary) << text;
  }

  testing::TestPlatform _test;
};

TEST_F(PelorinClientTest, ConstructionLogsItsStepsInOrder) {
  client();
  // After the configuration, each built-in plug-in logs its registration; then the list.
  Lines lines = _test.logLines();
  const std::size_t registered = builtInPluginClasses().size();
  ASSERT_GE(lines.size(), registered + 2);
  for (std::size_t i = 0; i < registered; ++i) {
    EXPECT_EQ(lines[2 + i], "INFO [PL_CLIENT]: The plugin '" + builtInPluginClasses()[i].name() +
                                "' is registered.");
  }
  lines.erase(lines.begin() + 2, lines.begin() + 2 + static_cast<std::ptrdiff_t>(registered));
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines[0], "INFO [PL_CLIENT]: Hostname: http://127.0.0.1:9");
  EXPECT_EQ(lines[1], "INFO [PL_CLIENT]: App ID: com.example.shop");
  std::string names;
  for (const auto& pluginClass : builtInPluginClasses()) {
    names += (names.empty() ? "" : ", ") + pluginClass.name();
  }
  EXPECT_EQ(lines[2], "INFO [PL_CLIENT]: Following plugins are available: " + names);
  EXPECT_TRUE(std::regex_match(
      lines[3],
      std::regex(R"(INFO \[PL_CLIENT\]: Create new Pelorin client in \([0-9]+\.[0-9]{2} ms\))")))
      << lines[3];
  EXPECT_EQ(lines[4], "INFO [PL_CLIENT]: Pelorin client is enabled");
}

TEST_F(PelorinClientTest, FirstStartWithoutFilesHasAnEmptyProfileId) {
  EXPECT_EQ(client().getProfileId(), "");
  EXPECT_TRUE(client().isEnabled());
  EXPECT_EQ(client().getScreenName(), "");
}

TEST_F(PelorinClientTest, StateFilesAreLoadedAtConstruction) {
  writeStoredFile("id.data", "p-42");
  writeStoredFile("enabled.data", "false");
  writeStoredFile("cache5.2.data",
                  R"({"properties":{"city":["Utrecht"]},"domainGroup":"g1","modified":false})");
  writeStoredFile(
      "plcommitlog5.2.data",
      R"({"_properties":[{"_identifier":"a","_type":"ADD","_values":["x"]}],"_events":[],"_modified":true})");
  EXPECT_EQ(client().getProfileId(), "p-42");
  EXPECT_FALSE(client().isEnabled());
  EXPECT_EQ(client().getProfileValue("city"), "Utrecht");
  PelorinClient::synchronized([&] {
    EXPECT_EQ(engine().cache().domainGroup, "g1");
    ASSERT_NE(engine().commitLog().getProperty("a"), nullptr);
  });
  EXPECT_EQ(_test.logLines().back(), "INFO [PL_CLIENT]: Pelorin client is disabled");
}

TEST_F(PelorinClientTest, EnabledFileOtherThanFalseMeansEnabled) {
  writeStoredFile("enabled.data", "no");
  EXPECT_TRUE(client().isEnabled());
}

TEST_F(PelorinClientTest, LocalWritesAreVisibleAtOnce) {
  client().setProfileValue("city", "Utrecht");
  client().addProfileValues("interests", {"sports", "news"});
  client().addProfileValue("interests", "sports");
  EXPECT_EQ(client().getProfileValue("city"), "Utrecht");
  EXPECT_EQ(client().getProfileValues("interests"), (std::vector<std::string>{"sports", "news"}));
}

TEST_F(PelorinClientTest, UnknownPropertyReadsAsEmpty) {
  EXPECT_EQ(client().getProfileValue("unknown"), "");
  EXPECT_EQ(client().getProfileValues("unknown"), std::nullopt);
}

TEST_F(PelorinClientTest, SetWithEmptyListLeavesThePropertyUnchanged) {
  client().setProfileValues("city", {"Utrecht"});
  client().setProfileValues("city", {});
  client().setProfileValue("city", "");
  client().setProfileValue("", "x");
  EXPECT_EQ(client().getProfileValues("city"), std::vector<std::string>{"Utrecht"});
}

TEST_F(PelorinClientTest, ChangeWithTextThatIsNotUtf8IsIgnoredWithAWarning) {
  client().setProfileValue("city", "Utrecht");
  _test.console().clear();
  client().setProfileValue("city", "Amsterdam\xff");
  client().addProfileValues("tags", {"ok", "\xed\xa0\x80"});
  client().setProfileValues("bad\x80name", {"x"});
  EXPECT_EQ(client().getProfileValue("city"), "Utrecht");
  EXPECT_EQ(client().getProfileValues("tags"), std::nullopt);
  const std::string warning =
      "WARNING [PL_CLIENT]: Profile change ignored: the property name or a value is not UTF-8";
  EXPECT_EQ(_test.logLines(), (Lines{warning, warning, warning}));
  PelorinClient::synchronized([&] {
    EXPECT_EQ(engine().commitLog().getProperty("tags"), nullptr);
    ASSERT_NE(engine().commitLog().getProperty("city"), nullptr);
    EXPECT_EQ(engine().commitLog().getProperty("city")->values(),
              (std::vector<std::string>{"Utrecht"}));
  });
}

TEST_F(PelorinClientTest, ClickWithAnInteractionIdThatIsNotUtf8RecordsNothing) {
  client();
  _test.console().clear();
  bool called = false;
  client().createEvent("CLICK", {{"interactionId", "i\xff"}}, [&] { called = true; });
  _test.mainLoop().runUntilIdle();
  EXPECT_TRUE(called);
  EXPECT_EQ(_test.logLines(),
            Lines{"WARNING [PL_CLIENT]: Event ignored: the interaction identifier is not UTF-8"});
  PelorinClient::synchronized([&] { EXPECT_TRUE(engine().commitLog().events().empty()); });
}

TEST_F(PelorinClientTest, SetStoresValuesWithoutEmptyTextsInTheCache) {
  client().setProfileValues("tags", {"", "a"});
  EXPECT_EQ(client().getProfileValues("tags"), std::vector<std::string>{"a"});
  PelorinClient::synchronized([&] {
    EXPECT_EQ(engine().commitLog().getProperty("tags")->values(),
              (std::vector<std::string>{"", "a"}));
  });
}

TEST_F(PelorinClientTest, PrivacyProperties) {
  EXPECT_EQ(client().getPrivacyLegislation(), "");
  client().setPrivacyLegislation("GDPR");
  client().setConsentedObjectives({"analytics"});
  client().setRefusedObjectives({"ads"});
  client().addRefusedObjective("mail");
  EXPECT_EQ(client().getPrivacyLegislation(), "GDPR");
  EXPECT_EQ(client().getProfileValue("privacy_legislation"), "GDPR");
  EXPECT_EQ(client().getConsentedObjectives(), std::vector<std::string>{"analytics"});
  EXPECT_EQ(client().getRefusedObjectives(), (std::vector<std::string>{"ads", "mail"}));
}

TEST_F(PelorinClientTest, ConsentedObjectiveAddedTwiceIsOneLoggedValue) {
  client().addConsentedObjective("analytics");
  client().addConsentedObjective("analytics");
  PelorinClient::synchronized([&] {
    const auto* entry = engine().commitLog().getProperty("consented_objectives");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->type(), OperationType::ADD);
    EXPECT_EQ(entry->values(), std::vector<std::string>{"analytics"});
  });
}

TEST_F(PelorinClientTest, ClickWithoutInteractionIdRecordsNothingButCallsBack) {
  client();
  // A first sync takes the pending state (its request fails: nobody listens).
  PelorinClient::synchronized([&] { engine().sync(); });
  ClientTesting::waitForOperations(client());
  PelorinClient::synchronized([&] { EXPECT_FALSE(engine().updateRequired()); });
  bool called = false;
  client().createEvent("CLICK", JsonValue::parse(R"({"other":"x"})"), [&] { called = true; });
  _test.mainLoop().runUntilIdle();
  EXPECT_TRUE(called);
  PelorinClient::synchronized([&] {
    EXPECT_TRUE(engine().commitLog().events().empty());
    EXPECT_FALSE(engine().updateRequired());
  });
  client().createEvent("CLICK", JsonValue::parse(R"({"interactionId":""})"));
  PelorinClient::synchronized([&] {
    EXPECT_TRUE(engine().commitLog().events().empty());
    EXPECT_TRUE(engine().updateRequired());  // an empty id still asks for a sync
  });
}

TEST_F(PelorinClientTest, ClickWithInteractionIdIsCounted) {
  client().createEvent("CLICK", JsonValue::parse(R"({"interactionId":"i1"})"));
  client().createEvent("CLICK", JsonValue::parse(R"({"interactionId":"i1"})"));
  client().createEvent("VIEW", JsonValue::parse(R"({"interactionId":""})"));
  PelorinClient::synchronized([&] {
    ASSERT_NE(engine().commitLog().getEvent(EventType::CLICK, "i1"), nullptr);
    EXPECT_EQ(engine().commitLog().getEvent(EventType::CLICK, "i1")->count(), 2);
    EXPECT_EQ(engine().commitLog().getEvent(EventType::VIEW, ""), nullptr);
    EXPECT_TRUE(engine().commitLog().isModified());
  });
}

TEST_F(PelorinClientTest, DisabledClientIgnoresEventsAndNeverCallsBack) {
  client().setEnabled(false);
  bool called = false;
  client().createEvent("CLICK", JsonValue::parse(R"({"interactionId":"i1"})"),
                       [&] { called = true; });
  client().createEvent("PAGEVIEW", JsonValue::parse(R"({"screenName":"home"})"),
                       [&] { called = true; });
  _test.mainLoop().runUntilIdle();
  EXPECT_FALSE(called);
  EXPECT_EQ(client().getScreenName(), "");
  PelorinClient::synchronized([&] { EXPECT_TRUE(engine().commitLog().events().empty()); });
}

TEST_F(PelorinClientTest, DisabledClientStillRecordsWrites) {
  client().setEnabled(false);
  client().setProfileValue("city", "Utrecht");
  EXPECT_EQ(client().getProfileValue("city"), "Utrecht");
  PelorinClient::synchronized(
      [&] { EXPECT_NE(engine().commitLog().getProperty("city"), nullptr); });
}

TEST_F(PelorinClientTest, SetEnabledLogsAndPersists) {
  client().setEnabled(false);
  EXPECT_EQ(_test.logLines().back(), "INFO [PL_CLIENT]: Pelorin client is disabled");
  EXPECT_EQ(storedFile("enabled.data"), "false");
  client().setEnabled(true);
  EXPECT_EQ(storedFile("enabled.data"), "true");
}

TEST_F(PelorinClientTest, DisabledSendUpdatesLogsTheNetworkMessageAndCallsBack) {
  client().setEnabled(false);
  _test.console().clear();
  bool called = false;
  client().updateProfile([&] { called = true; });
  _test.mainLoop().runUntilIdle();
  EXPECT_TRUE(called);
  EXPECT_EQ(_test.logLines(),
            Lines{"WARNING [PL_CLIENT]: Sync failed! Unable to connect to a network"});
}

TEST_F(PelorinClientTest, TickWritesChangedStateToFiles) {
  client().setProfileValue("city", "Utrecht");
  client().createEvent("CLICK", JsonValue::parse(R"({"interactionId":"i1"})"));
  PelorinClient::synchronized([&] {
    engine().setEnabled(true);
    engine().sync();
  });
  ClientTesting::waitForOperations(client());
  EXPECT_EQ(storedFile("cache5.2.data"), R"({"properties":{"city":["Utrecht"]},"modified":false})");
  const std::string log = storedFile("plcommitlog5.2.data");
  const std::string request = storedFile("plrequestcommitlog5.2.data");
  EXPECT_FALSE(log.empty());
  EXPECT_FALSE(request.empty());
}

TEST_F(PelorinClientTest, TickWithNothingChangedWritesNoFile) {
  client();
  PelorinClient::synchronized([&] { engine().sync(); });
  ClientTesting::waitForOperations(client());
  EXPECT_FALSE(std::filesystem::exists(_test.documentsFolder() + "/pelorin/cache5.2.data"));
  EXPECT_FALSE(std::filesystem::exists(_test.documentsFolder() + "/pelorin/plcommitlog5.2.data"));
}

TEST_F(PelorinClientTest, ScreenNameFromScreenNameOrLocation) {
  PelorinClient::synchronized([&] {
    EXPECT_EQ(engine().getScreenNameFromProperties(JsonValue::parse(R"({"screenName":"/home"})")),
              "home");
    EXPECT_EQ(engine().getScreenNameFromProperties(
                  JsonValue::parse(R"({"screenName":"","location":"/shop"})")),
              "shop");
    EXPECT_EQ(engine().getScreenNameFromProperties(JsonValue::parse(R"({"location":7})")),
              std::nullopt);
    EXPECT_EQ(engine().getScreenNameFromProperties(std::nullopt), std::nullopt);
  });
}

TEST_F(PelorinClientTest, ScreenNameFallsBackToTheTitleWithAWarning) {
  auto controller = std::make_shared<headless::ViewController>();
  controller->setTitle("Checkout");
  PelorinClient::getInstance(controller);
  _test.console().clear();
  PelorinClient::synchronized([&] {
    EXPECT_EQ(engine().getScreenNameFromProperties(JsonValue::parse(R"({"x":1})")), "Checkout");
  });
  EXPECT_EQ(_test.logLines(),
            Lines{"WARNING [PL_CLIENT]: There is no screen name set to the properties! Using the "
                  "title 'Checkout' instead."});
}

// Page-view data that is not an object is no map: no screen name, not even the title.
TEST_F(PelorinClientTest, DataThatIsNotAnObjectGivesNoScreenName) {
  auto controller = std::make_shared<headless::ViewController>();
  controller->setTitle("Checkout");
  PelorinClient::getInstance(controller);
  _test.console().clear();
  PelorinClient::synchronized([&] {
    for (const char* data : {"[]", "7", R"("home")", "null"}) {
      EXPECT_EQ(engine().getScreenNameFromProperties(JsonValue::parse(data)), std::nullopt) << data;
    }
  });
  EXPECT_TRUE(_test.logLines().empty());
}

TEST_F(PelorinClientTest, GetViewNeedsAHashAndAViewProperty) {
  auto controller = std::make_shared<headless::ViewController>();
  auto button = std::make_shared<headless::Button>("Buy");
  controller->addOutlet("buyButton", button);
  PelorinClient::getInstance(controller);
  EXPECT_EQ(client().getView("#buyButton"), button);
  EXPECT_EQ(client().getView("buyButton"), nullptr);
  EXPECT_EQ(client().getView("#title"), nullptr);
  EXPECT_EQ(client().getView("#missing"), nullptr);
  EXPECT_EQ(client().getViewController(), controller);
}

TEST_F(PelorinClientTest, ViewControllerIsHeldWeakly) {
  auto controller = std::make_shared<headless::ViewController>();
  PelorinClient::getInstance(controller);
  controller.reset();
  EXPECT_EQ(client().getViewController(), nullptr);
  EXPECT_EQ(client().getView("#view"), nullptr);
}

TEST_F(PelorinClientTest, ProfileIdChangeEmptiesTheCache) {
  client().setProfileValue("city", "Utrecht");
  _test.console().clear();
  const bool changed = PelorinClient::synchronized([&] {
    auto result = JsonValue::parse(
        R"({"id":"0","profileId":"p1","zoneId":"z1","result":{"domainGroupId":"g1"}})");
    return engine().processProfileResult(result->ref());
  });
  EXPECT_TRUE(changed);
  EXPECT_EQ(_test.logLines(), Lines{"INFO [PL_CLIENT]: New profile ID: p1 - Old profile ID: "});
  EXPECT_EQ(client().getProfileValues("city"), std::nullopt);
  EXPECT_EQ(client().getProfileId(), "p1");
  EXPECT_EQ(storedFile("id.data"), "p1");
  PelorinClient::synchronized([&] {
    EXPECT_EQ(engine().zoneId(), "z1");
    EXPECT_EQ(engine().cache().domainGroup, "g1");
    EXPECT_FALSE(engine()._updateProfileId("p1"));
    EXPECT_FALSE(engine()._updateProfileId(std::nullopt));
  });
}

TEST_F(PelorinClientTest, ZoneIdIsReplacedOnlyByAValue) {
  PelorinClient::synchronized([&] {
    engine()._updateZoneId("z1");
    engine()._updateZoneId(std::nullopt);
    EXPECT_EQ(engine().zoneId(), "z1");
    engine()._updateZoneId("z2");
    EXPECT_EQ(engine().zoneId(), "z2");
  });
}

TEST_F(PelorinClientTest, PropertiesAnswerReplacesOrUpdatesTheProfile) {
  client().setProfileValue("local", "x");
  PelorinClient::synchronized([&] {
    auto update = JsonValue::parse(R"({"result":{"properties":{"city":["Utrecht"],"tags":[]}}})");
    engine().processPropertiesResult(update->ref(), true);
  });
  EXPECT_EQ(_test.logLines().back(),
            R"(INFO [PL_CLIENT]: Updated properties: ["city": ["Utrecht"], "tags": []])");
  EXPECT_EQ(client().getProfileValue("local"), "x");
  PelorinClient::synchronized([&] {
    auto full = JsonValue::parse(R"({"result":{"properties":{"city":["Amsterdam"]}}})");
    engine().processPropertiesResult(full->ref(), false);
  });
  EXPECT_EQ(client().getProfileValues("local"), std::nullopt);
  EXPECT_EQ(client().getProfileValue("city"), "Amsterdam");
}

TEST_F(PelorinClientTest, AnswerEqualToTheCacheLeavesItsPropertiesAndMarksItChanged) {
  const auto process = [&](std::string_view properties, bool isUpdate) {
    PelorinClient::synchronized(
        [&] { engine().processPropertiesResult(JsonValue::parse(properties)->ref(), isUpdate); });
  };
  const auto written = [&] {
    PelorinClient::synchronized([&] {
      engine().sync();
      EXPECT_FALSE(engine().cache().modified);
    });
    ClientTesting::waitForOperations(client());
    return storedFile("cache5.2.data");
  };
  constexpr std::string_view kWhole =
      R"({"result":{"properties":{"city":["Utrecht"],"tags":["a","b"]}}})";
  constexpr std::string_view kStored =
      R"({"properties":{"city":["Utrecht"],"tags":["a","b"]},"modified":false})";
  process(kWhole, false);
  EXPECT_EQ(written(), kStored);

  // The same profile again, whole or as an update (empty texts and names aside): the
  // properties stay, and the cache is marked changed as after any answer.
  for (const auto& [properties, isUpdate] : std::vector<std::pair<std::string_view, bool>>{
           {kWhole, false},
           {R"({"result":{"properties":{"tags":["a","","b"]}}})", true},
           {R"({"result":{"properties":{"":["x"],"city":["Utrecht"]}}})", true}}) {
    process(properties, isUpdate);
    EXPECT_TRUE(PelorinClient::synchronized([&] { return engine().cache().modified; }));
    EXPECT_EQ(written(), kStored) << properties;
  }

  // Anything else is taken as before: a value, a property more or less.
  process(R"({"result":{"properties":{"city":["Utrecht"],"tags":["b","a"]}}})", false);
  EXPECT_EQ(written(), R"({"properties":{"city":["Utrecht"],"tags":["b","a"]},"modified":false})");
  process(R"({"result":{"properties":{"city":["Utrecht"]}}})", false);
  EXPECT_EQ(written(), R"({"properties":{"city":["Utrecht"]},"modified":false})");
  process(R"({"result":{"properties":{"new":[]}}})", true);
  EXPECT_EQ(written(), R"({"properties":{"city":["Utrecht"],"new":[]},"modified":false})");
  process(R"({"result":{"properties":{"city":["Utrecht"],"new":[],"x":["1"]}}})", false);
  EXPECT_EQ(written(),
            R"({"properties":{"city":["Utrecht"],"new":[],"x":["1"]},"modified":false})");
}

TEST_F(PelorinClientTest, MalformedPropertiesAnswerIsSkipped) {
  client().setProfileValue("local", "x");
  PelorinClient::synchronized([&] {
    engine().processPropertiesResult(
        JsonValue::parse(R"({"result":{"properties":{"a":[1]}}})")->ref(), false);
    engine().processPropertiesResult(JsonValue::parse(R"({"result":[]})")->ref(), false);
  });
  EXPECT_EQ(client().getProfileValue("local"), "x");
}

TEST_F(PelorinClientTest, SegmentsAndConnectionsFromAnAnswer) {
  PelorinClient::synchronized([&] {
    auto answer = JsonValue::parse(R"({"result":{"segments":[{"id":"s1","name":"Buyers"}],
        "connections":[{"id":"c1","parameters":[{"parameter":[{"id":"k","value":["v"]}]}]}]}})");
    engine().processSegmentsResult(answer->ref());
    engine().processConnectionsResult(answer->ref());
  });
  EXPECT_TRUE(client().hasSegment("s1"));
  EXPECT_FALSE(client().hasSegment("S1"));
  ASSERT_EQ(client().getSegments().size(), 1U);
  ASSERT_EQ(client().getConnections().size(), 1U);
  EXPECT_EQ(client().getConnections()[0].getParameters(), (Parameters{{"k", {"v"}}}));
  // An answer without the lists leaves them; an empty list clears them.
  PelorinClient::synchronized(
      [&] { engine().processSegmentsResult(JsonValue::parse(R"({"result":{}})")->ref()); });
  EXPECT_TRUE(client().hasSegment("s1"));
  PelorinClient::synchronized([&] {
    engine().processSegmentsResult(JsonValue::parse(R"({"result":{"segments":[]}})")->ref());
  });
  EXPECT_FALSE(client().hasSegment("s1"));
}

TEST_F(PelorinClientTest, SimulatorLinkWithTwoPartsIsRefused) {
  client();
  EXPECT_FALSE(client().setURL("com.example.shop://simulator.example/ann"));
  PelorinClient::synchronized(
      [&] { EXPECT_FALSE(engine().configuration().isConnectedToSimulator()); });
  EXPECT_FALSE(
      std::filesystem::exists(_test.documentsFolder() + "/pelorin/plsimulatorusername.data"));
}

TEST_F(PelorinClientTest, SimulatorLinkWithAnotherSchemeIsRefused) {
  client();
  _test.console().clear();
  EXPECT_FALSE(client().setURL("other.app://simulator.example/ann/s1"));
  EXPECT_EQ(_test.logLines(),
            Lines{"INFO [PL_CLIENT]: Scheme data is other.app, with package name: "
                  "com.example.shop via host https://simulator.example"});
  PelorinClient::synchronized(
      [&] { EXPECT_EQ(engine().configuration().getHostName(), "http://127.0.0.1:9"); });
}

TEST_F(PelorinClientTest, SimulatorLinkWithoutHostIsRefused) {
  client();
  _test.console().clear();
  EXPECT_FALSE(client().setURL("com.example.shop:/ann/s1"));
  EXPECT_EQ(_test.logLines(), Lines{"INFO [PL_CLIENT]: Unable to connect to the Pelorin Simulator. "
                                    "No host and/or scheme found in url."});
}

TEST_F(PelorinClientTest, SimulatorLinkConnectsStoresAndAlerts) {
  auto root = std::make_shared<headless::ViewController>();
  _test.ui().setKeyWindowRootViewController(root);
  client();
  _test.console().clear();
  EXPECT_TRUE(client().setURL("COM.Example.Shop://simulator.example/ann/s1"));
  PelorinClient::synchronized([&] {
    EXPECT_EQ(engine().configuration().getHostName(), "https://simulator.example");
    EXPECT_TRUE(engine().configuration().isConnectedToSimulator());
  });
  EXPECT_EQ(storedFile("plsimulatorusername.data"), "ann");
  EXPECT_EQ(storedFile("plsimulatormobilesession.data"), "s1");
  // The reload it starts runs on the operation queue and may log before or after the last line.
  ClientTesting::waitForOperations(client());
  const Lines lines = _test.logLines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(),
            "INFO [PL_CLIENT]: Scheme data is com.example.shop, with package name: "
            "com.example.shop via host https://simulator.example");
  EXPECT_EQ(std::count(lines.begin(), lines.end(),
                       "INFO [PL_CLIENT]: Connected to the Pelorin Simulator. Username: ann "
                       "Mobile session: s1 Host: https://simulator.example"),
            1);
  _test.mainLoop().runUntilIdle();
  ASSERT_EQ(_test.ui().alerts().size(), 1U);
  EXPECT_EQ(_test.ui().alerts()[0].alert.title, "Connected to Pelorin Simulator");
  EXPECT_EQ(_test.ui().alerts()[0].alert.message,
            "Username: ann \nMobile session: s1 \nHost: https://simulator.example");
}

TEST_F(PelorinClientTest, SimulatorDataIsLoadedAtConstruction) {
  writeStoredFile("plsimulatorusername.data", "ann");
  writeStoredFile("plsimulatormobilesession.data", "s1");
  PelorinClient::synchronized([&] {
    EXPECT_EQ(engine().configuration().getSimulatorUsername(), "ann");
    EXPECT_EQ(engine().configuration().getSimulatorSessionId(), "s1");
  });
}

// The host is the link's host alone: user info, port, query and fragment play no part.
TEST_F(PelorinClientTest, SimulatorLinkTakesTheHostWithoutUserInfoOrPort) {
  client();
  EXPECT_TRUE(client().setURL("com.example.shop://me@simulator.example:8443/ann/s1?x=1#top"));
  PelorinClient::synchronized([&] {
    EXPECT_EQ(engine().configuration().getHostName(), "https://simulator.example");
    EXPECT_EQ(engine().configuration().getSimulatorUsername(), "ann");
    EXPECT_EQ(engine().configuration().getSimulatorSessionId(), "s1");
  });
  ClientTesting::waitForOperations(client());
}

// The path is split as the platform's URL type gives it: percent escapes decoded, a
// trailing "/" dropped. The query is encoded where the connector builds it.
TEST_F(PelorinClientTest, SimulatorLinkDecodesItsPartsAndDropsATrailingSlash) {
  client();
  EXPECT_TRUE(client().setURL("com.example.shop://simulator.example/ann%20b/s%2D1/"));
  EXPECT_EQ(storedFile("plsimulatorusername.data"), "ann b");
  EXPECT_EQ(storedFile("plsimulatormobilesession.data"), "s-1");
  PelorinClient::synchronized([&] {
    EXPECT_EQ(engine().configuration().getSimulatorUsername(), "ann b");
    EXPECT_EQ(engine().configuration().getSimulatorSessionId(), "s-1");
  });
  ClientTesting::waitForOperations(client());
}

// A decoded "/" is a separator like any other: three parts no longer.
TEST_F(PelorinClientTest, SimulatorLinkWithAnEncodedSlashInAPartIsRefused) {
  client();
  EXPECT_FALSE(client().setURL("com.example.shop://simulator.example/ann/s%2F1"));
  EXPECT_FALSE(client().setURL("com.example.shop://simulator.example/ann/s%FF"));
  PelorinClient::synchronized(
      [&] { EXPECT_FALSE(engine().configuration().isConnectedToSimulator()); });
}

}  // namespace
}  // namespace pelorin
