#include "pelorin/interaction_context.h"

#include <gtest/gtest.h>

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

TEST_F(InteractionContextTest, ValueFromParameters) {
  JsonValue object = json(R"({"id":"i","defaultLocale":"en","parameters":[{"locale":"en",
      "parameter":[{"id":"a","value":["x","y"]},{"id":"empty","value":[]},{"id":"blank","value":["","z"]}]}]})");
  InteractionContext context(object.ref(), {}, std::nullopt);
  EXPECT_EQ(context.getValueFromParameters("a"), "x");
  EXPECT_EQ(context.getValueFromParameters("empty"), std::nullopt);
  EXPECT_EQ(context.getValueFromParameters("blank"), std::nullopt);
  EXPECT_EQ(context.getValueFromParameters("missing"), std::nullopt);
}

}  // namespace
}  // namespace pelorin
