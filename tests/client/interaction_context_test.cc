#include "pelorin/interaction_context.h"

#include <gtest/gtest.h>

#include "client/client_testing.h"
#include "client/pelorin_client_impl.h"
#include "pelorin/headless/toolkit.h"
#include "pelorin/pelorin_client.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

JsonValue json(std::string_view text) { return JsonValue::parse(text).value(); }

class InteractionContextTest : public ::testing::Test {
 protected:
  testing::TestPlatform _test;
};

constexpr std::string_view kEnDe = R"({"id":"i1","defaultLocale":"%DEFAULT%","parameters":[
    {"locale":"en","parameter":[{"id":"text","value":["Hello"]}]},
    {"locale":"de","parameter":[{"id":"text","value":["Hallo"]}]}]})";

JsonValue interaction(const std::string& defaultLocale) {
  std::string text(kEnDe);
  text.replace(text.find("%DEFAULT%"), 9, defaultLocale);
  return json(text);
}

TEST_F(InteractionContextTest, CopiesStringFieldsAndSkipsOthers) {
  JsonValue object = json(R"({"id":"i1","name":"Banner","myInteractionTypeId":"t1",
      "myPluginType":"p","dialogueId":"d1","dialogueName":"Dialogue","position":"#hero",
      "positionName":"Hero","defaultLocale":7})");
  InteractionContext context(object.ref(), {}, std::nullopt);
  EXPECT_EQ(context.getInteractionId(), "i1");
  EXPECT_EQ(context.getInteractionName(), "Banner");
  EXPECT_EQ(context.getInteractionTypeId(), "t1");
  EXPECT_EQ(context.getPluginType(), "p");
  EXPECT_EQ(context.getDialogueId(), "d1");
  EXPECT_EQ(context.getDialogueName(), "Dialogue");
  EXPECT_EQ(context.getPositionIdentifier(), "#hero");
  EXPECT_EQ(context.getPositionName(), "Hero");
  EXPECT_EQ(context.getDefaultLocale(), std::nullopt);
  EXPECT_TRUE(context.getParameters().empty());
  EXPECT_TRUE(_test.logLines().empty());
}

TEST_F(InteractionContextTest, RequestedLocaleIsUsed) {
  InteractionContext context(interaction("en").ref(), {}, "de");
  EXPECT_EQ(context.getParameters(), (Parameters{{"text", {"Hallo"}}}));
  EXPECT_EQ(_test.logLines(), std::vector<std::string>{"INFO [PL_INTERACTION]: Locale used: de"});
}

TEST_F(InteractionContextTest, BlankRequestedLocaleUsesTheDefault) {
  InteractionContext context(interaction("de").ref(), {}, "  ");
  EXPECT_EQ(context.getParameters(), (Parameters{{"text", {"Hallo"}}}));
}

// White space is Unicode white space: a requested locale of no-break or ideographic spaces
// is blank, so the default locale is used without a warning.
TEST_F(InteractionContextTest, RequestedLocaleOfUnicodeSpacesUsesTheDefault) {
  InteractionContext context(interaction("de").ref(), {}, "\u00a0\u3000");
  EXPECT_EQ(context.getParameters(), (Parameters{{"text", {"Hallo"}}}));
  EXPECT_EQ(_test.logLines(), std::vector<std::string>{"INFO [PL_INTERACTION]: Locale used: de"});
}

TEST_F(InteractionContextTest, MissingLocaleFallsBackToDefaultWithOneWarning) {
  InteractionContext context(interaction("en").ref(), {}, "fr");
  EXPECT_EQ(context.getParameters(), (Parameters{{"text", {"Hello"}}}));
  EXPECT_EQ(_test.logLines(),
            (std::vector<std::string>{
                "WARNING [PL_INTERACTION]: The locale 'fr' doesn't exists, using default locale "
                "'en' instead. Based on all locales '[\"en\", \"de\"]'",
                "INFO [PL_INTERACTION]: Locale used: en"}));
}

TEST_F(InteractionContextTest, MissingDefaultFallsBackToFirstWithTwoWarnings) {
  InteractionContext context(interaction("es").ref(), {}, "fr");
  EXPECT_EQ(context.getParameters(), (Parameters{{"text", {"Hello"}}}));
  EXPECT_EQ(_test.logLines(),
            (std::vector<std::string>{
                "WARNING [PL_INTERACTION]: The locale 'fr' doesn't exists, using default locale "
                "'es' instead. Based on all locales '[\"en\", \"de\"]'",
                "WARNING [PL_INTERACTION]: The default locale 'es' is not valid, using the first "
                "valid locale 'en' instead. Based on all locales: [\"en\", \"de\"]",
                "INFO [PL_INTERACTION]: Locale used: en"}));
}

TEST_F(InteractionContextTest, NoRequestedLocaleUsesTheDefaultLocale) {
  InteractionContext context(interaction("de").ref(), {}, std::nullopt);
  EXPECT_EQ(context.getParameters(), (Parameters{{"text", {"Hallo"}}}));
}

TEST_F(InteractionContextTest, NoLocalesAtAll) {
  InteractionContext context(json(R"({"id":"i","defaultLocale":"en","parameters":[]})").ref(), {},
                             std::nullopt);
  EXPECT_TRUE(context.getParameters().empty());
  EXPECT_EQ(
      _test.logLines(),
      std::vector<std::string>{"INFO [PL_INTERACTION]: The plugin doesn't contain any locales."});
}

// The first entry matches by name but its "parameter" is not a list: the fallbacks would
// ask for the same locale forever; each locale is tried once instead.
TEST_F(InteractionContextTest, UnusableFirstEntryStopsTheFallbackCircle) {
  JsonValue object = json(R"({"id":"i","parameters":[{"locale":"en","parameter":"x"}]})");
  InteractionContext context(object.ref(), {}, "en");
  EXPECT_TRUE(context.getParameters().empty());
  EXPECT_EQ(_test.logLines(),
            std::vector<std::string>{
                "WARNING [PL_INTERACTION]: No usable parameters for the locale 'en'"});
}

TEST_F(InteractionContextTest, UnusableEntryWithDefaultStopsTheFallbackCircle) {
  JsonValue object =
      json(R"({"id":"i","defaultLocale":"es","parameters":[{"locale":"en","parameter":"x"}]})");
  InteractionContext context(object.ref(), {}, "en");
  EXPECT_TRUE(context.getParameters().empty());
  EXPECT_EQ(_test.logLines().size(), 2U);
  EXPECT_EQ(_test.logLines().back(),
            "WARNING [PL_INTERACTION]: No usable parameters for the locale 'es'");
}

// A list that mixes other values with locale entries is no list of locale entries.
TEST_F(InteractionContextTest, ParametersMixingNonObjectsWithLocaleEntriesAreNotUsed) {
  JsonValue object = json(R"({"id":"i","defaultLocale":"en","parameters":[7,{"locale":"en",
      "parameter":[{"id":"a","value":["x"]}]}]})");
  InteractionContext context(object.ref(), {}, std::nullopt);
  EXPECT_TRUE(context.getParameters().empty());
  EXPECT_EQ(
      _test.logLines(),
      std::vector<std::string>{"INFO [PL_INTERACTION]: The plugin doesn't contain any locales."});
}

// The first string of the value, "" included; nothing for an empty or missing value.
TEST_F(InteractionContextTest, ValueFromParametersIsTheFirstStringEvenWhenEmpty) {
  JsonValue object = json(R"({"id":"i","defaultLocale":"en","parameters":[{"locale":"en",
      "parameter":[{"id":"a","value":["x","y"]},{"id":"empty","value":[]},{"id":"blank","value":["","z"]}]}]})");
  InteractionContext context(object.ref(), {}, std::nullopt);
  EXPECT_EQ(context.getValueFromParameters("a"), "x");
  EXPECT_EQ(context.getValueFromParameters("empty"), std::nullopt);
  EXPECT_EQ(context.getValueFromParameters("blank"), "");
  EXPECT_EQ(context.getValueFromParameters("missing"), std::nullopt);
}

// Contexts that reach into the client: connections of the last page view and views of the
// interaction's screen.
class InteractionContextClientTest : public InteractionContextTest {
 protected:
  InteractionContextClientTest() {
    // A server address nobody listens on: these tests never reach a server.
    _test.bundle().set("pl_server_url", JsonValue("http://127.0.0.1:9/"));
  }

  static PelorinClient& client() { return PelorinClient::getInstance(); }

  // Stores the connections of a page view's answer in the client.
  static void answerConnections(std::string_view connections) {
    JsonValue answer = json(R"({"result":{"connections":)" + std::string(connections) + "}}");
    PelorinClient::synchronized(
        [&] { ClientTesting::engine(client()).processConnectionsResult(answer.ref()); });
  }

  static InteractionContext contextOn(const std::shared_ptr<headless::ViewController>& controller,
                                      std::string_view position = "#banner") {
    JsonValue object = json(R"({"id":"i1","position":")" + std::string(position) + R"("})");
    return {object.ref(), controller, std::nullopt};
  }
};

TEST_F(InteractionContextClientTest, GetConnectionFindsTheFirstWithThatId) {
  answerConnections(R"([
      {"id":"crm","parameters":[{"parameter":[{"id":"endpoint","value":["first"]}]}]},
      {"id":"mail","parameters":[{"parameter":[{"id":"endpoint","value":["mail"]}]}]},
      {"id":"crm","parameters":[{"parameter":[{"id":"endpoint","value":["second"]}]}]}])");
  InteractionContext context = contextOn(nullptr);
  auto connection = context.getConnection("crm");
  ASSERT_TRUE(connection.has_value());
  EXPECT_EQ(connection->getId(), "crm");
  EXPECT_EQ(connection->getParameters(), (Parameters{{"endpoint", {"first"}}}));
  EXPECT_EQ(context.getConnection("mail")->getParameters(), (Parameters{{"endpoint", {"mail"}}}));
}

TEST_F(InteractionContextClientTest, GetConnectionComparesIdsExactly) {
  answerConnections(R"([{"id":"crm","parameters":[{"parameter":[]}]}])");
  InteractionContext context = contextOn(nullptr);
  EXPECT_EQ(context.getConnection("CRM"), std::nullopt);
  EXPECT_EQ(context.getConnection("cr"), std::nullopt);
  EXPECT_EQ(context.getConnection("unknown"), std::nullopt);
}

TEST_F(InteractionContextClientTest, GetConnectionOfAnEmptyIdIsNothing) {
  answerConnections(R"([{"id":"","parameters":[{"parameter":[]}]}])");
  ASSERT_EQ(client().getConnections().size(), 1U);
  EXPECT_EQ(contextOn(nullptr).getConnection(""), std::nullopt);
}

TEST_F(InteractionContextClientTest, GetConnectionMakesTheContextsScreenCurrent) {
  auto shown = std::make_shared<headless::ViewController>("Shown");
  auto own = std::make_shared<headless::ViewController>("Own");
  PelorinClient::getInstance(shown);
  InteractionContext context = contextOn(own);
  EXPECT_EQ(context.getConnection("none"), std::nullopt);
  EXPECT_EQ(client().getViewController(), own);
}

TEST_F(InteractionContextClientTest, GetConnectionWithoutAScreenLeavesTheCurrentOne) {
  auto shown = std::make_shared<headless::ViewController>("Shown");
  PelorinClient::getInstance(shown);
  EXPECT_EQ(contextOn(nullptr).getConnection("none"), std::nullopt);
  EXPECT_EQ(client().getViewController(), shown);
}

TEST_F(InteractionContextClientTest, GetViewLooksUpThePositionOnTheContextsScreen) {
  auto shown = std::make_shared<headless::ViewController>("Shown");
  shown->addOutlet("banner", std::make_shared<headless::Label>("other"));
  auto own = std::make_shared<headless::ViewController>("Own");
  auto banner = std::make_shared<headless::Label>("Spring sale");
  own->addOutlet("banner", banner);
  PelorinClient::getInstance(shown);
  EXPECT_EQ(contextOn(own).getView(), banner);
  EXPECT_EQ(client().getViewController(), own);
}

TEST_F(InteractionContextClientTest, GetViewNeedsTheHashOfAViewProperty) {
  auto own = std::make_shared<headless::ViewController>("Own");
  own->addOutlet("banner", std::make_shared<headless::Label>("Spring sale"));
  EXPECT_EQ(contextOn(own, "banner").getView(), nullptr);
  EXPECT_EQ(contextOn(own, "#title").getView(), nullptr);
  EXPECT_EQ(contextOn(own, "#missing").getView(), nullptr);
  EXPECT_EQ(contextOn(own, "#").getView(), nullptr);
}

TEST_F(InteractionContextClientTest, GetViewWithoutAPositionIsNothing) {
  auto own = std::make_shared<headless::ViewController>("Own");
  own->addOutlet("banner", std::make_shared<headless::Label>("Spring sale"));
  InteractionContext context(json(R"({"id":"i1"})").ref(), own, std::nullopt);
  EXPECT_EQ(context.getView(), nullptr);
}

// Once the interaction's screen is gone, the lookup leaves the current screen as it is and
// looks the position up there.
TEST_F(InteractionContextClientTest, GetViewAfterTheScreenIsGoneLooksAtTheCurrentScreen) {
  auto shown = std::make_shared<headless::ViewController>("Shown");
  auto other = std::make_shared<headless::Label>("other");
  shown->addOutlet("banner", other);
  PelorinClient::getInstance(shown);
  auto own = std::make_shared<headless::ViewController>("Own");
  InteractionContext context = contextOn(own);
  own.reset();
  EXPECT_EQ(context.getView(), other);
  EXPECT_EQ(client().getViewController(), shown);
}

}  // namespace
}  // namespace pelorin
