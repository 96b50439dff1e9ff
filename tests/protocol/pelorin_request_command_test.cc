#include "protocol/pelorin_request_command.h"
#include "json/json_value_access.h"

#include <gtest/gtest.h>

namespace pelorin {
namespace {

using Texts = std::vector<std::string>;

JsonValue parsed(std::string_view text) {
  auto value = JsonValue::parse(text);
  EXPECT_TRUE(value.has_value()) << text;
  return value.value_or(JsonValue());
}

// The parameter object a command carries: its "params" member read back as JSON.
JsonValue paramsOf(const PelorinRequestCommand& command) {
  JsonValue outer = parsed(command.toJson());
  EXPECT_TRUE(outer["params"].isString()) << command.toJson();
  return parsed(outer["params"].stringView());
}

TEST(CallIdTest, CasesHaveTheirRawValues) {
  EXPECT_EQ(rawValue(CallId::profile), 0);
  EXPECT_EQ(rawValue(CallId::addProperties), 1);
  EXPECT_EQ(rawValue(CallId::setProperties), 2);
  EXPECT_EQ(rawValue(CallId::getProperties), 3);
  EXPECT_EQ(rawValue(CallId::interactions), 4);
  EXPECT_EQ(rawValue(CallId::events), 5);
}

TEST(CallIdTest, RawValuesZeroToFiveGiveTheirCase) {
  EXPECT_EQ(callIdFromRawValue(0), CallId::profile);
  EXPECT_EQ(callIdFromRawValue(3), CallId::getProperties);
  EXPECT_EQ(callIdFromRawValue(5), CallId::events);
}

TEST(CallIdTest, RawValueOfSixOrMoreGivesNothing) {
  EXPECT_EQ(callIdFromRawValue(6), std::nullopt);
  EXPECT_EQ(callIdFromRawValue(7), std::nullopt);
  EXPECT_EQ(callIdFromRawValue(INT64_MAX), std::nullopt);
}

TEST(CallIdTest, NegativeRawValueGivesNothing) { EXPECT_EQ(callIdFromRawValue(-1), std::nullopt); }

TEST(PelorinRequestCommandTest, CallIdIsKeptAsDecimalText) {
  EXPECT_EQ(PelorinRequestCommand("m", 0, std::nullopt).callId(), "0");
  EXPECT_EQ(PelorinRequestCommand("m", 5, std::nullopt).callId(), "5");
  EXPECT_EQ(PelorinRequestCommand("m", 1234567890123, std::nullopt).callId(), "1234567890123");
  EXPECT_EQ(PelorinRequestCommand("m", -12, std::nullopt).callId(), "-12");
}

TEST(PelorinRequestCommandTest, MembersAreWrittenAsMethodAltIdParams) {
  PelorinRequestCommand command("getProfile", 0, RequestParameters{{"forceCreate", Texts{"true"}}});
  EXPECT_EQ(
      command.toJson(),
      R"({"method":"getProfile","alt":"json","id":"0","params":"{\"forceCreate\":[\"true\"]}"})");
}

TEST(PelorinRequestCommandTest, WithoutParametersThereIsNoParamsMember) {
  PelorinRequestCommand command("getProfile", 0, std::nullopt);
  EXPECT_EQ(command.toJson(), R"({"method":"getProfile","alt":"json","id":"0"})");
}

TEST(PelorinRequestCommandTest, WithoutMethodNameThereIsNoMethodMember) {
  PelorinRequestCommand command(std::nullopt, 7, RequestParameters{});
  EXPECT_EQ(command.toJson(), R"({"alt":"json","id":"7","params":"{}"})");
}

TEST(PelorinRequestCommandTest, EmptyParametersAreTheTextOfAnEmptyObject) {
  PelorinRequestCommand command("getProperties", 3, RequestParameters{});
  EXPECT_EQ(command.toJson(), R"({"method":"getProperties","alt":"json","id":"3","params":"{}"})");
}

TEST(PelorinRequestCommandTest, IdIsAJsonStringNotANumber) {
  JsonValue outer = parsed(PelorinRequestCommand("createEvent", 5, std::nullopt).toJson());
  EXPECT_TRUE(outer["id"].isString());
  EXPECT_EQ(outer["id"].string(), "5");
}

TEST(PelorinRequestCommandTest, ComplexParametersAreFlattenedUnderProperties) {
  RequestParameters entries{
      {"interests",
       PelorinPropertyCommitEntry(OperationType::ADD, "interests", {"sports", "music"})},
      {"city", PelorinPropertyCommitEntry(OperationType::ADD, "city", {"Utrecht"})}};
  PelorinRequestCommand command("addProperties", 1, entries, true);
  EXPECT_EQ(command.toJson(),
            R"({"method":"addProperties","alt":"json","id":"1","params":)"
            R"("{\"properties\":{\"interests\":[\"sports\",\"music\"],\"city\":[\"Utrecht\"]}}"})");
}

TEST(PelorinRequestCommandTest, EntryWithAnEmptyValueListIsSentAsAnEmptyArray) {
  RequestParameters entries{{"a", PelorinPropertyCommitEntry(OperationType::SET, "a", {})}};
  PelorinRequestCommand command("setProperties", 2, entries, true);
  EXPECT_EQ(
      command.toJson(),
      R"({"method":"setProperties","alt":"json","id":"2","params":"{\"properties\":{\"a\":[]}}"})");
}

TEST(PelorinRequestCommandTest, NonEntryValueInComplexParametersIsLeftOut) {
  RequestParameters entries{{"list", Texts{"x"}},
                            {"kept", PelorinPropertyCommitEntry(OperationType::SET, "kept", {"v"})},
                            {"event", PelorinEventCommitEntry(EventType::CLICK, "i1", 2)},
                            {"json", JsonValue("text")}};
  PelorinRequestCommand command("setProperties", 2, entries, true);
  EXPECT_EQ(paramsOf(command), parsed(R"({"properties":{"kept":["v"]}})"));
}

TEST(PelorinRequestCommandTest, ComplexParametersWithoutEntriesSendEmptyProperties) {
  PelorinRequestCommand command("setProperties", 2, RequestParameters{{"x", Texts{"1"}}}, true);
  EXPECT_EQ(paramsOf(command), parsed(R"({"properties":{}})"));
}

TEST(PelorinRequestCommandTest, CommitEntryInSimpleParametersCostsTheParamsMember) {
  RequestParameters parameters{{"a", PelorinPropertyCommitEntry(OperationType::SET, "a", {"v"})}};
  PelorinRequestCommand command("setProperties", 2, parameters, false);
  EXPECT_EQ(command.toJson(), R"({"method":"setProperties","alt":"json","id":"2"})");
}

TEST(PelorinRequestCommandTest, ParameterThatIsNotUtf8CostsTheParamsMember) {
  PelorinRequestCommand simple("createEvent", 5, RequestParameters{{"type", Texts{"\xff"}}});
  RequestParameters entries{{"a", PelorinPropertyCommitEntry(OperationType::ADD, "a", {"\xc3"})}};
  PelorinRequestCommand complex("addProperties", 1, entries, true);
  EXPECT_EQ(simple.toJson(), R"({"method":"createEvent","alt":"json","id":"5"})");
  EXPECT_EQ(complex.toJson(), R"({"method":"addProperties","alt":"json","id":"1"})");
}

TEST(PelorinRequestCommandTest, MethodNameThatIsNotUtf8MakesTheCommandEmptyText) {
  PelorinRequestCommand command("get\xffProfile", 0, RequestParameters{});
  EXPECT_EQ(command.toJson(), "");
}

TEST(PelorinRequestCommandTest, JsonParameterIsWrittenAsItIs) {
  RequestParameters parameters{
      {"context", parsed(R"({"n":-5,"big":18446744073709551615,"ok":true,"none":null,"p":2.5})")}};
  PelorinRequestCommand command("createEvent", 4, parameters);
  EXPECT_EQ(
      command.toJson(),
      R"({"method":"createEvent","alt":"json","id":"4","params":)"
      R"("{\"context\":{\"n\":-5,\"big\":18446744073709551615,\"ok\":true,\"none\":null,\"p\":2.5}}"})");
}

TEST(PelorinRequestCommandTest, EscapedTextsHaveTheseExactBytes) {
  PelorinRequestCommand command("m", 1, RequestParameters{{"k", Texts{"a\"b\\c\n\x01/é"}}});
  // Inner text: {"k":["a\"b\\c\n\u0001/é"]}; every quote and back-slash of it escaped again.
  EXPECT_EQ(
      command.toJson(),
      R"({"method":"m","alt":"json","id":"1","params":"{\"k\":[\"a\\\"b\\\\c\\n\\u0001/é\"]}"})");
}

// Quotes, back-slashes, every control character and non-ASCII text survive the double
// encoding: the decoded "params" is exactly the parameter object.
TEST(PelorinRequestCommandTest, AwkwardTextsSurviveTheDoubleEncoding) {
  std::string controls;
  for (int c = 1; c < 0x20; ++c) controls.push_back(static_cast<char>(c));
  controls += '\x7f';
  const Texts awkward{
      "say \"hi\"",   "C:\\path\\", controls,      std::string("nul\0x", 5), "é 日本語 😀",
      "\u2028\u2029", "</script>",  R"(\"\u0041)", R"({"json":1})",          ""};
  RequestParameters parameters{{"values", awkward}, {"ké\"y\\", Texts{"v"}}};
  RequestParameters entries{
      {"values", PelorinPropertyCommitEntry(OperationType::SET, "values", awkward)}};

  JsonValue simple = paramsOf(PelorinRequestCommand("m", 1, parameters));
  JsonValue complex = paramsOf(PelorinRequestCommand("m", 2, entries, true));

  EXPECT_EQ(simple["values"].asStringList(), awkward);
  EXPECT_EQ(simple["ké\"y\\"].asStringList(), Texts{"v"});
  EXPECT_EQ(simple.size(), 2U);
  EXPECT_EQ(complex["properties"]["values"].asStringList(), awkward);
}

TEST(PelorinRequestCommandTest, GetValuesOfEntriesKeepsOnlyPropertyEntryValues) {
  RequestParameters parameters{
      {"b", PelorinPropertyCommitEntry(OperationType::ADD, "b", {"1", "2"})},
      {"list", Texts{"x"}},
      {"a", PelorinPropertyCommitEntry(OperationType::SET, "a", {})},
      {"event", PelorinEventCommitEntry(EventType::VIEW, "i", 1)},
      {"json", JsonValue(true)}};

  RequestParameters flattened = PelorinRequestCommand::getValuesOfEntries(parameters);

  EXPECT_EQ(flattened, (RequestParameters{{"b", Texts{"1", "2"}}, {"a", Texts{}}}));
}

TEST(PelorinRequestCommandTest, ConvertDataToJsonOfNothingIsNothing) {
  EXPECT_EQ(PelorinRequestCommand::convertDataToJSON(std::optional<RequestParameters>()),
            std::nullopt);
  EXPECT_EQ(PelorinRequestCommand::convertDataToJSON(std::optional<JsonValue>()), std::nullopt);
}

TEST(PelorinRequestCommandTest, ConvertDataToJsonWritesCompactObjects) {
  EXPECT_EQ(PelorinRequestCommand::convertDataToJSON(
                RequestParameters{{"a", Texts{"x", "y"}}, {"b", Texts{}}}),
            R"({"a":["x","y"],"b":[]})");
  EXPECT_EQ(
      PelorinRequestCommand::convertDataToJSON(parsed(R"({ "screen" : "home", "n" : [1, 2] })")),
      R"({"screen":"home","n":[1,2]})");
}

TEST(PelorinRequestCommandTest, ConvertDataToJsonRefusesWhatIsNotAnObject) {
  EXPECT_EQ(PelorinRequestCommand::convertDataToJSON(parsed("[1]")), std::nullopt);
  EXPECT_EQ(PelorinRequestCommand::convertDataToJSON(JsonValue("text")), std::nullopt);
}

TEST(PelorinRequestCommandTest, ConvertDataToJsonRefusesTextThatIsNotUtf8) {
  JsonValue object = JsonValue::object();
  mutableRawJson(object).as_object()["k"] = "\xed\xa0\x80";  // an encoded surrogate
  EXPECT_EQ(PelorinRequestCommand::convertDataToJSON(object), std::nullopt);
  EXPECT_EQ(PelorinRequestCommand::convertDataToJSON(RequestParameters{{"\xff", Texts{}}}),
            std::nullopt);
}

TEST(PelorinRequestCommandTest, ConvertDataToJsonRefusesACommitEntry) {
  RequestParameters parameters{{"e", PelorinEventCommitEntry(EventType::CLICK, "i", 1)}};
  EXPECT_EQ(PelorinRequestCommand::convertDataToJSON(parameters), std::nullopt);
}

TEST(RequestParametersTest, SettingAKeyAgainReplacesItInPlace) {
  RequestParameters parameters{{"a", Texts{"1"}}, {"b", Texts{"2"}}};
  parameters.set("a", Texts{"3"});
  EXPECT_EQ(parameters, (RequestParameters{{"a", Texts{"3"}}, {"b", Texts{"2"}}}));
  ASSERT_NE(parameters.find("a"), nullptr);
  EXPECT_EQ(*parameters.find("a"), RequestParameter(Texts{"3"}));
  EXPECT_EQ(parameters.find("c"), nullptr);
}

TEST(RequestParametersTest, ManyKeysKeepOrderAndStayUnique) {
  RequestParameters parameters;
  for (int i = 99; i >= 0; --i) parameters.set("k" + std::to_string(i), Texts{"first"});
  parameters.set("k50", Texts{"second"});
  parameters.set("k99", Texts{"second"});

  ASSERT_EQ(parameters.size(), 100U);
  EXPECT_EQ(parameters.begin()->first, "k99");
  EXPECT_EQ(*parameters.find("k99"), RequestParameter(Texts{"second"}));
  EXPECT_EQ(*parameters.find("k50"), RequestParameter(Texts{"second"}));
  EXPECT_EQ(*parameters.find("k0"), RequestParameter(Texts{"first"}));
  EXPECT_EQ(parameters.find("k100"), nullptr);
}

TEST(RequestParametersTest, FromEntriesKeysByNameAndKeepsTheLaterEntry) {
  std::vector<PelorinPropertyCommitEntry> entries{
      PelorinPropertyCommitEntry(OperationType::ADD, "a", {"1"}),
      PelorinPropertyCommitEntry(OperationType::ADD, "b", {"2"}),
      PelorinPropertyCommitEntry(OperationType::ADD, "a", {"3"})};

  RequestParameters parameters = RequestParameters::fromEntries(entries);

  EXPECT_EQ(parameters, (RequestParameters{{"a", entries[2]}, {"b", entries[1]}}));
}

}  // namespace
}  // namespace pelorin
