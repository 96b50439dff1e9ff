#include <gtest/gtest.h>

#include "json/json_value_access.h"
#include "protocol/pelorin_connector.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

using Texts = std::vector<std::string>;
using Commands = std::vector<PelorinRequestCommand>;

JsonValue parsed(std::string_view text) {
  auto value = JsonValue::parse(text);
  EXPECT_TRUE(value.has_value()) << text;
  return value.value_or(JsonValue());
}

// The request body as the connector frames it: the commands' texts joined with ",".
std::string bodyOf(const Commands& commands) {
  std::string body = "[";
  for (std::size_t i = 0; i < commands.size(); ++i) {
    if (i != 0) body += ",";
    body += commands[i].toJson();
  }
  return body + "]";
}

std::vector<std::string> idsOf(const Commands& commands) {
  std::vector<std::string> ids;
  for (const auto& command : commands) ids.push_back(command.callId().value_or("?"));
  return ids;
}

// Compares a command with its expected wire text member by member, "params" after
// decoding it, so the order of members does not matter.
void expectSameCommand(const PelorinRequestCommand& command, std::string_view expectedText) {
  SCOPED_TRACE(expectedText);
  JsonValue actual = parsed(command.toJson());
  JsonValue expected = parsed(expectedText);
  ASSERT_TRUE(actual.isObject());
  ASSERT_EQ(actual.size(), expected.size());
  for (const auto& [name, value] : expected.members()) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(actual[name].isString());
    if (name == "params") {
      EXPECT_EQ(parsed(actual[name].stringView()), parsed(value.stringView()));
    } else {
      EXPECT_EQ(actual[name].string(), value.string());
    }
  }
}

// One pending added value, one pending set value and one click logged twice.
PelorinCommitLog exampleLog() {
  PelorinCommitLog log;
  log.addProperties("interests", {"sports"});
  log.setProperties("city", {"Utrecht"});
  log.updateEvent(EventType::CLICK, "i1", 1);
  log.updateEvent(EventType::CLICK, "i1", 1);
  return log;
}

Commands updateBatchOf(const PelorinCommitLog& log) {
  return PelorinConnector::setUpdateCommand(
      RequestParameters::fromEntries(log.getProperties(OperationType::ADD)),
      RequestParameters::fromEntries(log.getProperties(OperationType::SET)), log.events());
}

constexpr std::string_view kExampleBatch[] = {
    R"({"method":"getProfile","alt":"json","id":"0","params":"{\"forceCreate\":[\"true\"]}"})",
    R"({"method":"addProperties","alt":"json","id":"1","params":"{\"properties\":{\"interests\":[\"sports\"]}}"})",
    R"({"method":"setProperties","alt":"json","id":"2","params":"{\"properties\":{\"city\":[\"Utrecht\"]}}"})",
    R"({"method":"createEvent","alt":"json","id":"5","params":"{\"type\":[\"CLICK\"],\"interaction\":[\"i1\"]}"})",
    R"({"method":"createEvent","alt":"json","id":"6","params":"{\"type\":[\"CLICK\"],\"interaction\":[\"i1\"]}"})",
};

TEST(PelorinCommandBuildersTest, ExampleUpdateBatchMatchesMemberByMember) {
  Commands commands = updateBatchOf(exampleLog());
  commands.push_back(PelorinConnector::getGetPropertiesCommand(3, "294;"));

  ASSERT_EQ(commands.size(), 6U);
  for (std::size_t i = 0; i < 5; ++i) expectSameCommand(commands[i], kExampleBatch[i]);
  expectSameCommand(
      commands[5],
      R"({"method":"getProperties","alt":"json","id":"3","params":"{\"hash\":[\"294;\"]}"})");
}

TEST(PelorinCommandBuildersTest, ExampleUpdateBatchHasTheseExactBytes) {
  Commands commands = updateBatchOf(exampleLog());
  commands.push_back(PelorinConnector::getGetPropertiesCommand(3, "294;"));

  std::string expected = "[";
  for (auto text : kExampleBatch) expected += std::string(text) + ",";
  expected +=
      R"({"method":"getProperties","alt":"json","id":"3","params":"{\"hash\":[\"294;\"]}"}])";
  EXPECT_EQ(bodyOf(commands), expected);
}

TEST(PelorinCommandBuildersTest, AddAndSetCommandsCarryCommitEntriesAsComplexParameters) {
  Commands commands = updateBatchOf(exampleLog());

  ASSERT_GE(commands.size(), 3U);
  EXPECT_EQ(commands[1].methodName(), "addProperties");
  EXPECT_TRUE(commands[1].complexParameters());
  EXPECT_EQ(commands[2].methodName(), "setProperties");
  EXPECT_TRUE(commands[2].complexParameters());
  EXPECT_FALSE(commands[0].complexParameters());
}

TEST(PelorinCommandBuildersTest, UpdateWithNothingPendingIsTheSingleProfileCommand) {
  Commands commands = PelorinConnector::setUpdateCommand({}, {}, {});

  ASSERT_EQ(commands.size(), 1U);
  EXPECT_EQ(commands[0].toJson(), kExampleBatch[0]);
}

TEST(PelorinCommandBuildersTest, TwoEventEntriesOfCountOneBothCarryIdFive) {
  std::vector<PelorinEventCommitEntry> events{PelorinEventCommitEntry(EventType::CLICK, "i1", 1),
                                              PelorinEventCommitEntry(EventType::VIEW, "i2", 1)};

  Commands commands = PelorinConnector::setUpdateCommand({}, {}, events);

  EXPECT_EQ(idsOf(commands), (Texts{"0", "5", "5"}));
  EXPECT_EQ(
      commands[1].toJson(),
      R"({"method":"createEvent","alt":"json","id":"5","params":"{\"type\":[\"CLICK\"],\"interaction\":[\"i1\"]}"})");
  EXPECT_EQ(
      commands[2].toJson(),
      R"({"method":"createEvent","alt":"json","id":"5","params":"{\"type\":[\"VIEW\"],\"interaction\":[\"i2\"]}"})");
}

TEST(PelorinCommandBuildersTest, EventEntryOfCountZeroYieldsNoCommand) {
  Commands commands = PelorinConnector::setUpdateCommand(
      {}, {}, {PelorinEventCommitEntry(EventType::CLICK, "i1", 0)});
  EXPECT_EQ(idsOf(commands), Texts{"0"});
}

TEST(PelorinCommandBuildersTest, EventEntryOfNegativeCountYieldsNoCommand) {
  Commands commands = PelorinConnector::setUpdateCommand(
      {}, {}, {PelorinEventCommitEntry(EventType::CLICK, "i1", -4)});
  EXPECT_EQ(idsOf(commands), Texts{"0"});
}

TEST(PelorinCommandBuildersTest, EventEntryOfCountThreeYieldsThreeIdenticalCommands) {
  Commands commands = PelorinConnector::setUpdateCommand(
      {}, {}, {PelorinEventCommitEntry(EventType::CONVERSION, "i9", 3)});

  EXPECT_EQ(idsOf(commands), (Texts{"0", "5", "6", "7"}));
  for (std::size_t i = 1; i < commands.size(); ++i) {
    EXPECT_EQ(commands[i].parameters(), commands[1].parameters());
    EXPECT_EQ(commands[i].methodName(), "createEvent");
  }
}

// One command per count, however many: the engine bounds a batch, not the builder.
TEST(PelorinCommandBuildersTest, EveryCountOfALargeEntryIsSent) {
  testing::TestPlatform platform;

  Commands commands = PelorinConnector::setUpdateCommand(
      {}, {}, {PelorinEventCommitEntry(EventType::CLICK, "i1", 10001)});

  ASSERT_EQ(commands.size(), 10002U);
  EXPECT_EQ(commands.back().callId(), "10005");
  EXPECT_EQ(platform.logLines(), std::vector<std::string>{});
}

TEST(PelorinCommandBuildersTest, OnlyPendingKindsGetAnAddOrSetCommand) {
  PelorinCommitLog log;
  log.setProperties("city", {"Utrecht"});

  Commands commands = updateBatchOf(log);

  EXPECT_EQ(idsOf(commands), (Texts{"0", "2"}));
}

TEST(PelorinCommandBuildersTest, GetPropertiesWithoutHashHasEmptyParams) {
  EXPECT_EQ(PelorinConnector::getGetPropertiesCommand(3, std::nullopt).toJson(),
            R"({"method":"getProperties","alt":"json","id":"3","params":"{}"})");
}

TEST(PelorinCommandBuildersTest, GetPropertiesWithHashSendsIt) {
  EXPECT_EQ(
      PelorinConnector::getGetPropertiesCommand(3, "1234;987;").toJson(),
      R"({"method":"getProperties","alt":"json","id":"3","params":"{\"hash\":[\"1234;987;\"]}"})");
}

TEST(PelorinCommandBuildersTest, ProfileCommandUsesTheGivenId) {
  EXPECT_EQ(
      PelorinConnector::getProfileCommand(9).toJson(),
      R"({"method":"getProfile","alt":"json","id":"9","params":"{\"forceCreate\":[\"true\"]}"})");
}

TEST(PelorinCommandBuildersTest, InteractionCommandWithoutPropertiesHasNoTimelineContext) {
  EXPECT_EQ(
      PelorinConnector::getInteractionCommand(4, "PAGEVIEW", std::nullopt).toJson(),
      R"({"method":"createEvent","alt":"json","id":"4","params":"{\"type\":[\"PAGEVIEW\"],\"interaction\":[]}"})");
}

TEST(PelorinCommandBuildersTest, InteractionCommandCarriesPropertiesAsJsonText) {
  JsonValue properties = parsed(R"({"screenName":"/home","tags":["a"]})");

  PelorinRequestCommand command =
      PelorinConnector::getInteractionCommand(4, "PAGEVIEW", properties);

  // The context is JSON text inside the parameter text inside the command text.
  EXPECT_EQ(command.toJson(),
            R"({"method":"createEvent","alt":"json","id":"4","params":"{\"type\":[\"PAGEVIEW\"],)"
            R"(\"interaction\":[],\"timelineContext\":[\"{\\\"screenName\\\":\\\"/home\\\",)"
            R"(\\\"tags\\\":[\\\"a\\\"]}\"]}"})");
  JsonValue params = parsed(parsed(command.toJson())["params"].stringView());
  EXPECT_EQ(parsed(params["timelineContext"][0].stringView()), properties);
  EXPECT_EQ(params["timelineContext"].size(), 1U);
}

TEST(PelorinCommandBuildersTest, InteractionCommandSkipsPropertiesThatDoNotConvert) {
  JsonValue notUtf8 = JsonValue::object();
  mutableRawJson(notUtf8).as_object()["k"] = "\xff";

  for (const auto& properties : {parsed("[1,2]"), notUtf8}) {
    EXPECT_EQ(
        PelorinConnector::getInteractionCommand(4, "SCREEN", properties).toJson(),
        R"({"method":"createEvent","alt":"json","id":"4","params":"{\"type\":[\"SCREEN\"],\"interaction\":[]}"})");
  }
}

TEST(PelorinCommandBuildersTest, EventCommandSendsTheTypeRawTextAndInteraction) {
  EXPECT_EQ(
      PelorinConnector::getEventCommand(5, EventType::VIEW, "i-7").toJson(),
      R"({"method":"createEvent","alt":"json","id":"5","params":"{\"type\":[\"VIEW\"],\"interaction\":[\"i-7\"]}"})");
  EXPECT_EQ(
      PelorinConnector::getEventCommand(6, EventType::CONVERSION, "x").toJson(),
      R"({"method":"createEvent","alt":"json","id":"6","params":"{\"type\":[\"CONVERSION\"],\"interaction\":[\"x\"]}"})");
}

}  // namespace
}  // namespace pelorin
