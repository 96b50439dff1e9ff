#include "devserver/rpc_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace pelorin::devserver {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

constexpr const char* kGetProfile =
    R"({"method":"getProfile","alt":"json","id":"0","params":"{\"forceCreate\":[\"true\"]}"})";

RpcRequest batch(std::string body, std::optional<std::string> cookie = std::nullopt) {
  RpcRequest request;
  request.domainGroup = "DEFAULT";
  request.visitorCookie = std::move(cookie);
  request.referer = "app://com.example.app/home";
  request.body = std::move(body);
  return request;
}

class RpcServiceTest : public ::testing::Test {
 protected:
  // Creates a profile through the protocol and gives its id.
  std::string newVisitor() {
    _service.handle(batch(std::string("[") + kGetProfile + "]"));
    return _service.profileIds().back();
  }

  RpcService _service{RpcService::Options{}};
};

TEST_F(RpcServiceTest, ForgottenProfileGivesItsVisitorANewOne) {
  const std::string old = newVisitor();

  EXPECT_TRUE(_service.forgetProfile(old));
  RpcReply reply = _service.handle(batch(std::string("[") + kGetProfile + "]", old));

  ASSERT_EQ(_service.profileIds().size(), 1U);
  const std::string id = _service.profileIds()[0];
  EXPECT_NE(id, old);
  EXPECT_FALSE(_service.hasProfile(old));
  EXPECT_EQ(reply.setCookie, "pl_profile=" + id + "; Path=/; Max-Age=31536000; HttpOnly");
  EXPECT_FALSE(_service.forgetProfile(old));
}

TEST_F(RpcServiceTest, GetProfileWithForceCreateCreatesProfileAndSetsCookie) {
  RpcReply reply = _service.handle(batch(std::string("[") + kGetProfile + "]"));

  ASSERT_EQ(_service.profileIds().size(), 1U);
  const std::string id = _service.profileIds()[0];
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.contentType, "application/json");
  EXPECT_EQ(reply.body,
            R"([{"id":"0","profileId":")" + id + R"(","result":{"domainGroupId":"DEFAULT"}}])");
  EXPECT_EQ(reply.setCookie, "pl_profile=" + id + "; Path=/; Max-Age=31536000; HttpOnly");
}

TEST_F(RpcServiceTest, GetProfileWithKnownCookieAnswersThatProfileWithoutCookie) {
  const std::string id = newVisitor();

  RpcReply reply = _service.handle(batch(std::string("[") + kGetProfile + "]", id));

  EXPECT_EQ(_service.profileIds().size(), 1U);
  EXPECT_EQ(reply.body,
            R"([{"id":"0","profileId":")" + id + R"(","result":{"domainGroupId":"DEFAULT"}}])");
  EXPECT_EQ(reply.setCookie, std::nullopt);
}

TEST_F(RpcServiceTest, GetProfileWithUnknownCookieCreatesAnotherProfile) {
  RpcReply reply = _service.handle(batch(std::string("[") + kGetProfile + "]", "stale"));

  ASSERT_EQ(_service.profileIds().size(), 1U);
  EXPECT_NE(_service.profileIds()[0], "stale");
  EXPECT_TRUE(reply.setCookie.has_value());
}

TEST_F(RpcServiceTest, GetProfileWithoutForceCreateForUnknownVisitorAnswersEmptyResult) {
  RpcReply reply =
      _service.handle(batch(R"([{"method":"getProfile","alt":"json","id":"0","params":"{}"}])"));

  EXPECT_TRUE(_service.profileIds().empty());
  EXPECT_EQ(reply.body, R"([{"id":"0","result":{}}])");
  EXPECT_EQ(reply.setCookie, std::nullopt);
}

TEST_F(RpcServiceTest, GetProfileReportsTheZoneOfThePath) {
  RpcRequest request = batch(std::string("[") + kGetProfile + "]");
  request.domainGroup = "g1";
  request.zone = "z1";

  RpcReply reply = _service.handle(request);

  const std::string id = _service.profileIds()[0];
  EXPECT_EQ(reply.body, R"([{"id":"0","profileId":")" + id +
                            R"(","zoneId":"z1","result":{"domainGroupId":"g1"}}])");
}

TEST(RpcServiceOptionsTest, ConfiguredDomainGroupAndZoneWin) {
  RpcService service(RpcService::Options{.domainGroupId = "dg-7", .zoneId = "zone-3"});

  RpcReply reply = service.handle(batch(std::string("[") + kGetProfile + "]"));

  const std::string id = service.profileIds()[0];
  EXPECT_EQ(reply.body, R"([{"id":"0","profileId":")" + id +
                            R"(","zoneId":"zone-3","result":{"domainGroupId":"dg-7"}}])");
}

TEST(RpcServiceOptionsTest, AnswersCanBeWrappedInPlJson) {
  RpcService service(RpcService::Options{.wrapInPlJson = true});

  RpcReply reply = service.handle(batch("[]"));

  EXPECT_EQ(reply.body, "pl_json([])");
  service.setWrapInPlJson(false);
  EXPECT_EQ(service.handle(batch("[]")).body, "[]");
}

TEST_F(RpcServiceTest, SetPropertiesReplacesValuesAndDropsEmptyOnes) {
  const std::string id = newVisitor();
  ASSERT_TRUE(_service.setProperty(id, "city", {"Amsterdam"}));

  RpcReply reply = _service.handle(batch(
      std::string("[") + kGetProfile +
          R"(,{"method":"setProperties","alt":"json","id":"2","params":"{\"properties\":{\"city\":[\"\",\"Utrecht\"],\"\":[\"x\"]}}"}])",
      id));

  EXPECT_THAT(*_service.properties(id), ElementsAre(Pair("city", ElementsAre("Utrecht"))));
  EXPECT_NE(reply.body.find(R"({"id":"2","result":{}})"), std::string::npos);
}

TEST_F(RpcServiceTest, AddPropertiesAppendsOnlyValuesNotHeldYet) {
  const std::string id = newVisitor();
  ASSERT_TRUE(_service.setProperty(id, "interests", {"sports"}));

  RpcReply reply = _service.handle(batch(
      R"([{"method":"addProperties","alt":"json","id":"1","params":"{\"properties\":{\"interests\":[\"news\",\"sports\",\"news\"],\"tags\":[\"a\"]}}"}])",
      id));

  EXPECT_EQ(reply.body, R"([{"id":"1","result":{}}])");
  EXPECT_THAT(*_service.properties(id),
              ElementsAre(Pair("interests", ElementsAre("sports", "news")),
                          Pair("tags", ElementsAre("a"))));
}

TEST_F(RpcServiceTest, GetPropertiesWithoutHashAnswersAllProperties) {
  const std::string id = newVisitor();
  ASSERT_TRUE(_service.setProperty(id, "city", {"Utrecht"}));
  ASSERT_TRUE(_service.setProperty(id, "tags", {"a", "b"}));

  RpcReply reply = _service.handle(
      batch(R"([{"method":"getProperties","alt":"json","id":"3","params":"{}"}])", id));

  EXPECT_EQ(reply.body,
            R"([{"id":"3","result":{"properties":{"city":["Utrecht"],"tags":["a","b"]}}}])");
}

TEST_F(RpcServiceTest, GetPropertiesWithTheServersHashAnswersNoProperties) {
  const std::string id = newVisitor();
  ASSERT_TRUE(_service.setProperty(id, "a", {"b", "c"}));

  RpcReply reply = _service.handle(batch(
      R"([{"method":"getProperties","alt":"json","id":"3","params":"{\"hash\":[\"294;\"]}"}])",
      id));

  EXPECT_EQ(reply.body, R"([{"id":"3","result":{"properties":{}}}])");
}

TEST_F(RpcServiceTest, HashPiecesMayComeInAnotherOrder) {
  const std::string id = newVisitor();
  ASSERT_TRUE(_service.setProperty(id, "a", {"b", "c"}));
  ASSERT_TRUE(_service.setProperty(id, "x", {}));

  RpcReply reply = _service.handle(batch(
      R"([{"method":"getProperties","alt":"json","id":"3","params":"{\"hash\":[\"120;294;\"]}"}])",
      id));

  EXPECT_EQ(reply.body, R"([{"id":"3","result":{"properties":{}}}])");
}

TEST_F(RpcServiceTest, GetPropertiesWithAnotherHashAnswersAllProperties) {
  const std::string id = newVisitor();
  ASSERT_TRUE(_service.setProperty(id, "a", {"b", "c"}));

  RpcReply reply = _service.handle(batch(
      R"([{"method":"getProperties","alt":"json","id":"3","params":"{\"hash\":[\"295;\"]}"}])",
      id));

  EXPECT_EQ(reply.body, R"([{"id":"3","result":{"properties":{"a":["b","c"]}}}])");
}

TEST_F(RpcServiceTest, EmptyHashMatchesAnEmptyProfile) {
  const std::string id = newVisitor();

  RpcReply reply = _service.handle(batch(
      R"([{"method":"getProperties","alt":"json","id":"3","params":"{\"hash\":[\"\"]}"}])", id));

  EXPECT_EQ(reply.body, R"([{"id":"3","result":{"properties":{}}}])");
}

TEST_F(RpcServiceTest, PropertyCommandsWithoutProfileAnswerAnError) {
  RpcReply reply =
      _service.handle(batch(R"([{"method":"getProperties","alt":"json","id":"3","params":"{}"}])"));

  EXPECT_EQ(
      reply.body,
      R"([{"id":"3","error":{"message":"no profile: send \"getProfile\" with \"forceCreate\" first"}}])");
}

TEST_F(RpcServiceTest, CreateEventCountsPerInteractionAndType) {
  const std::string id = newVisitor();
  const std::string click =
      R"({"method":"createEvent","alt":"json","id":"5","params":"{\"type\":[\"CLICK\"],\"interaction\":[\"i1\"]}"})";
  const std::string view =
      R"({"method":"createEvent","alt":"json","id":"5","params":"{\"type\":[\"VIEW\"],\"interaction\":[\"i1\"]}"})";

  RpcReply reply = _service.handle(batch("[" + click + "," + click + "," + view + "]", id));

  EXPECT_EQ(reply.body,
            R"([{"id":"5","result":{}},{"id":"5","result":{}},{"id":"5","result":{}}])");
  EXPECT_EQ(_service.eventCount(id, "i1", "CLICK"), 2);
  EXPECT_EQ(_service.eventCount(id, "i1", "VIEW"), 1);
  EXPECT_EQ(_service.eventCount(id, "i2", "CLICK"), 0);
  EXPECT_EQ(_service.eventCount("i1", "CLICK"), 2);
}

TEST_F(RpcServiceTest, PageViewAnswersEmptyListsAndCountsTheScreen) {
  const std::string id = newVisitor();

  RpcReply reply = _service.handle(batch(
      R"([{"method":"createEvent","alt":"json","id":"4","params":"{\"type\":[\"PAGEVIEW\"],\"interaction\":[]}"}])",
      id));

  EXPECT_EQ(reply.body,
            R"([{"id":"4","result":{"interactions":[],"segments":[],"connections":[]}}])");
  EXPECT_EQ(_service.pageViewCount("PAGEVIEW", "home"), 1);
  EXPECT_EQ(_service.pageViewCount("PAGEVIEW", "other"), 0);
}

// Records what the interactions request asked, and answers with one segment.
class RecordingScreenContent : public ScreenContent {
 public:
  explicit RecordingScreenContent(std::vector<PageView>* seen) : _seen(seen) {}
  JsonValue resultFor(const PageView& pageView) const override {
    _seen->push_back(pageView);
    return JsonValue::parse(R"({"segments":[{"id":"s1","name":"Seg"}]})").value();
  }

 private:
  std::vector<PageView>* _seen;
};

TEST(RpcServiceScreenContentTest, InteractionsRequestAsksTheScreenContent) {
  std::vector<PageView> seen;
  RpcService service(RpcService::Options{}, std::make_unique<RecordingScreenContent>(&seen));
  RpcRequest request = batch(
      std::string("[") + kGetProfile +
      R"(,{"method":"createEvent","alt":"json","id":"4","params":"{\"type\":[\"PAGEVIEW\"],\"interaction\":[],\"timelineContext\":[\"{\\\"screenName\\\":\\\"/cart\\\"}\"]}"}])");
  request.referer = "app://com.example.app/cart";

  RpcReply reply = service.handle(request);

  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0].profileId, service.profileIds()[0]);
  EXPECT_EQ(seen[0].eventType, "PAGEVIEW");
  EXPECT_EQ(seen[0].screenName, "cart");
  ASSERT_TRUE(seen[0].timelineContext.has_value());
  EXPECT_EQ(seen[0].timelineContext->toCompactString(), R"({"screenName":"/cart"})");
  EXPECT_NE(reply.body.find(R"({"id":"4","result":{"segments":[{"id":"s1","name":"Seg"}]}})"),
            std::string::npos);
}

TEST(RpcServiceScreenContentTest, InteractionsRequestSeesThePropertiesChangedEarlierInTheBatch) {
  std::vector<PageView> seen;
  RpcService service(RpcService::Options{}, std::make_unique<RecordingScreenContent>(&seen));
  service.handle(batch(
      std::string("[") + kGetProfile +
      R"(,{"method":"setProperties","alt":"json","id":"2","params":"{\"properties\":{\"city\":[\"Utrecht\"]}}"})"
      R"(,{"method":"createEvent","alt":"json","id":"4","params":"{\"type\":[\"PAGEVIEW\"],\"interaction\":[]}"}])"));
  const std::string id = service.profileIds().at(0);
  ASSERT_TRUE(service.setProperty(id, "tags", {"a", "b"}));
  service.handle(batch(
      R"([{"method":"createEvent","alt":"json","id":"4","params":"{\"type\":[\"newsletter\"],\"interaction\":[]}"}])",
      id));

  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0].properties, (Parameters{{"city", {"Utrecht"}}}));
  EXPECT_EQ(seen[1].eventType, "newsletter");
  EXPECT_EQ(seen[1].properties, (Parameters{{"city", {"Utrecht"}}, {"tags", {"a", "b"}}}));
}

TEST(RpcServiceScreenContentTest, InteractionsRequestWithoutAProfileHasNoProperties) {
  std::vector<PageView> seen;
  RpcService service(RpcService::Options{}, std::make_unique<RecordingScreenContent>(&seen));
  service.handle(batch(
      R"([{"method":"createEvent","alt":"json","id":"4","params":"{\"type\":[\"PAGEVIEW\"],\"interaction\":[]}"}])",
      "unknown"));

  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0].profileId, "");
  EXPECT_TRUE(seen[0].properties.empty());
}

TEST_F(RpcServiceTest, BodyThatIsNotJsonIsBadRequest) {
  RpcReply reply = _service.handle(batch("garbage"));

  EXPECT_EQ(reply.status, 400);
  EXPECT_EQ(reply.contentType, "text/plain");
  EXPECT_TRUE(reply.body.starts_with("The body must be a JSON array of commands."));
}

TEST_F(RpcServiceTest, BodyThatIsNotAnArrayIsBadRequest) {
  RpcReply reply = _service.handle(batch(R"({"method":"getProfile"})"));

  EXPECT_EQ(reply.status, 400);
  EXPECT_EQ(reply.body, "The body must be a JSON array of commands.");
}

TEST_F(RpcServiceTest, ParamsThatAreNotJsonTextAnswerAnError) {
  RpcReply reply = _service.handle(batch(
      R"([{"method":"getProfile","alt":"json","id":"0","params":{"forceCreate":["true"]}}])"));

  EXPECT_EQ(reply.body,
            R"([{"id":"0","error":{"message":"\"params\" must be the JSON text of an object"}}])");
  EXPECT_TRUE(_service.profileIds().empty());
}

TEST_F(RpcServiceTest, UnknownMethodAnswersAnError) {
  RpcReply reply = _service.handle(batch(R"([{"method":"deleteProfile","alt":"json","id":"9"}])"));

  EXPECT_EQ(reply.body, R"([{"id":"9","error":{"message":"Unknown method: deleteProfile"}}])");
}

TEST_F(RpcServiceTest, ElementsThatAreNotObjectsAreSkipped) {
  RpcReply reply = _service.handle(batch(R"([1,"x",null])"));

  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.body, "[]");
}

TEST(RpcServiceRefererTest, ScreenNameIsThePathAfterThePackage) {
  EXPECT_EQ(RpcService::screenNameFromReferer("app://com.example.app/home"), "home");
  EXPECT_EQ(RpcService::screenNameFromReferer("app://com.example.app/a/b"), "a/b");
  EXPECT_EQ(RpcService::screenNameFromReferer("app://com.example.app/"), "");
  EXPECT_EQ(RpcService::screenNameFromReferer("app://com.example.app"), "");
  EXPECT_EQ(RpcService::screenNameFromReferer("https://example.com/home"), "");
  EXPECT_EQ(RpcService::screenNameFromReferer(""), "");
}

}  // namespace
}  // namespace pelorin::devserver
