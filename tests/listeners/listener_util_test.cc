#include "listeners/listener_util.h"
#include "json/json_value_access.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "pelorin/headless/toolkit.h"
#include "pelorin/interaction_context.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

using headless::Button;
using headless::Label;
using headless::TextField;
using headless::View;
using headless::ViewController;
using Strings = std::vector<std::string>;

JsonValue json(std::string_view text) { return JsonValue::parse(text).value(); }

// A screen as the client would show it: the controller's root view and its outlets.
class ScreenViews : public ContentViews {
 public:
  explicit ScreenViews(std::shared_ptr<ViewController> controller)
      : _controller(std::move(controller)) {}

  std::shared_ptr<platform::View> rootView() const override {
    return _controller ? _controller->view() : nullptr;
  }
  std::shared_ptr<platform::View> view(const std::string& selector) const override {
    if (!_controller || selector.empty() || selector.front() != '#') return nullptr;
    return _controller->viewForProperty(selector.substr(1));
  }

 private:
  std::shared_ptr<ViewController> _controller;
};

// A context whose parameters are `parametersJson`; the log lines of its construction are
// cleared.
InteractionContext contextWithParameters(testing::TestPlatform& platform,
                                         std::string_view parametersJson) {
  std::string interaction =
      R"({"id": "i1", "defaultLocale": "en", "parameters": [{"locale": "en", "parameter": )" +
      std::string(parametersJson) + "}]}";
  InteractionContext context(json(interaction).ref(), {}, std::nullopt);
  platform.console().clear();
  return context;
}

class ListenerUtilTest : public ::testing::Test {
 protected:
  std::vector<std::string> logLines() const { return _platform.logLines(); }

  testing::TestPlatform _platform;
};

// --- getSelector

TEST_F(ListenerUtilTest, PageLevelSelectorsBecomeAny) {
  EXPECT_EQ(ListenerUtil::getSelector(json(R"({"selector": "pre_body"})").ref()), "any");
  EXPECT_EQ(ListenerUtil::getSelector(json(R"({"selector": "pre_any"})").ref()), "any");
  EXPECT_EQ(ListenerUtil::getSelector(json(R"({"selector": "pre_mobile"})").ref()), "any");
}

TEST_F(ListenerUtilTest, SelectorInCapitalsIsReturnedUnchanged) {
  EXPECT_EQ(ListenerUtil::getSelector(json(R"({"selector": "PRE_BODY"})").ref()), "PRE_BODY");
  EXPECT_EQ(ListenerUtil::getSelector(json(R"({"selector": " #buy "})").ref()), " #buy ");
}

TEST_F(ListenerUtilTest, MissingOrMistypedSelectorGivesNothing) {
  EXPECT_EQ(ListenerUtil::getSelector(JsonRef()), std::nullopt);
  EXPECT_EQ(ListenerUtil::getSelector(json(R"({})").ref()), std::nullopt);
  EXPECT_EQ(ListenerUtil::getSelector(json(R"({"selector": 5})").ref()), std::nullopt);
  EXPECT_EQ(ListenerUtil::getSelector(json(R"(["selector"])").ref()), std::nullopt);
}

// --- getWords

TEST_F(ListenerUtilTest, WordsOfARuleKeepOrderAndSpacing) {
  EXPECT_THAT(ListenerUtil::getWords(json(R"({"words": [" Sale", "b", "Sale"]})").ref()),
              ElementsAre(" Sale", "b", "Sale"));
}

TEST_F(ListenerUtilTest, UnusableWordsGivePreAny) {
  EXPECT_THAT(ListenerUtil::getWords(json(R"({})").ref()), ElementsAre("pre_any"));
  EXPECT_THAT(ListenerUtil::getWords(json(R"({"words": []})").ref()), ElementsAre("pre_any"));
  EXPECT_THAT(ListenerUtil::getWords(json(R"({"words": [1, 2]})").ref()), ElementsAre("pre_any"));
  EXPECT_THAT(ListenerUtil::getWords(json(R"({"words": ["a", 2]})").ref()), ElementsAre("pre_any"));
  EXPECT_THAT(ListenerUtil::getWords(json(R"({"words": "sale"})").ref()), ElementsAre("pre_any"));
}

TEST_F(ListenerUtilTest, RuleWithoutWordsMatchesAnyContent) {
  JsonValue rule = json(R"({"containsmatches": "matches"})");
  EXPECT_TRUE(ListenerUtil::contentContainsWord(rule.ref(), {"whatever"},
                                                ListenerUtil::getWords(rule.ref())));
}

TEST_F(ListenerUtilTest, WordsFromAList) {
  EXPECT_THAT(ListenerUtil::getWords(std::optional<Strings>()), ElementsAre("pre_any"));
  EXPECT_THAT(ListenerUtil::getWords(std::optional<Strings>(Strings{})), ElementsAre("pre_any"));
  EXPECT_THAT(ListenerUtil::getWords(std::optional<Strings>(Strings{"x", "y"})),
              ElementsAre("x", "y"));
}

// --- contentContainsWord

TEST_F(ListenerUtilTest, EmptyModeWithOneEmptyStringIsFalse) {
  JsonValue rule = json(R"({"containsmatches": "empty", "words": ["x"]})");
  EXPECT_FALSE(ListenerUtil::contentContainsWord(rule.ref(), {""}, {"x"}));
}

TEST_F(ListenerUtilTest, EmptyModeWithNoContentIsTrue) {
  JsonValue rule = json(R"({"containsmatches": "empty"})");
  EXPECT_TRUE(ListenerUtil::contentContainsWord(rule.ref(), {}, {"x"}));
  EXPECT_TRUE(ListenerUtil::contentContainsWord(rule.ref(), {}, {}));
}

TEST_F(ListenerUtilTest, MatchesComparesWithEachTrimmedContentString) {
  JsonValue rule = json(R"({"containsmatches": "matches"})");
  EXPECT_TRUE(ListenerUtil::contentContainsWord(rule.ref(), {"  sale ", "other"}, {"Sale"}));
}

TEST_F(ListenerUtilTest, MatchesIsNotASubstringTest) {
  JsonValue rule = json(R"({"containsmatches": "matches"})");
  EXPECT_FALSE(ListenerUtil::contentContainsWord(rule.ref(), {"big sale"}, {"Sale"}));
}

TEST_F(ListenerUtilTest, ContainsFindsTheWordInsideTheContent) {
  JsonValue rule = json(R"({"containsmatches": "contains"})");
  EXPECT_TRUE(ListenerUtil::contentContainsWord(rule.ref(), {"big sale"}, {"Sale"}));
}

TEST_F(ListenerUtilTest, ContainsIsTheDefaultMode) {
  EXPECT_TRUE(ListenerUtil::contentContainsWord(json("{}").ref(), {"BIG SALE"}, {"sale"}));
  EXPECT_TRUE(ListenerUtil::contentContainsWord(json(R"({"containsmatches": 3})").ref(),
                                                {"big sale"}, {"sale"}));
}

TEST_F(ListenerUtilTest, ContainsSearchesTheJoinedContent) {
  // The content strings are joined with one space before the search.
  EXPECT_TRUE(ListenerUtil::contentContainsWord(json("{}").ref(), {"big", "sale"}, {"g s"}));
  EXPECT_FALSE(ListenerUtil::contentContainsWord(json("{}").ref(), {"big", "sale"}, {"bigsale"}));
}

TEST_F(ListenerUtilTest, NoWordFoundIsFalse) {
  EXPECT_FALSE(ListenerUtil::contentContainsWord(json("{}").ref(), {"shoes"}, {"sale", "hats"}));
}

TEST_F(ListenerUtilTest, LaterWordCanMatch) {
  EXPECT_TRUE(ListenerUtil::contentContainsWord(json("{}").ref(), {"hats"}, {"sale", "hats"}));
}

TEST_F(ListenerUtilTest, EmptyInterestsAreFalse) {
  EXPECT_FALSE(ListenerUtil::contentContainsWord(json("{}").ref(), {"sale"}, {}));
}

TEST_F(ListenerUtilTest, UrlRuleMatchesComparesWithTheWholeJoinedText) {
  JsonValue rule = json(R"({"ruletype": "interesturl", "containsmatches": "matches"})");
  EXPECT_FALSE(ListenerUtil::contentContainsWord(rule.ref(), {"a", "b"}, {"a"}));
  EXPECT_TRUE(ListenerUtil::contentContainsWord(rule.ref(), {"a", "b"}, {"a b"}));
}

TEST_F(ListenerUtilTest, ScoreUrlRuleIsAUrlRuleToo) {
  JsonValue rule = json(R"({"ruletype": "scoreurl", "containsmatches": "matches"})");
  EXPECT_TRUE(ListenerUtil::contentContainsWord(rule.ref(), {" Checkout "}, {"checkout"}));
  EXPECT_FALSE(ListenerUtil::contentContainsWord(rule.ref(), {"Checkout/Pay"}, {"checkout"}));
}

TEST_F(ListenerUtilTest, UrlRuleContainsIsASubstringTest) {
  JsonValue rule = json(R"({"ruletype": "scoreurl"})");
  EXPECT_TRUE(ListenerUtil::contentContainsWord(rule.ref(), {"Checkout/Pay"}, {"PAY"}));
}

TEST_F(ListenerUtilTest, UrlRuleWithAnyOtherModeComparesTheWholeText) {
  JsonValue rule = json(R"({"ruletype": "scoreurl", "containsmatches": "exact"})");
  EXPECT_TRUE(ListenerUtil::contentContainsWord(rule.ref(), {"home"}, {"Home"}));
  EXPECT_FALSE(ListenerUtil::contentContainsWord(rule.ref(), {"home page"}, {"Home"}));
}

TEST_F(ListenerUtilTest, UnknownModeNeverMatchesOnAContentRule) {
  JsonValue rule = json(R"({"containsmatches": "exact"})");
  EXPECT_FALSE(ListenerUtil::contentContainsWord(rule.ref(), {"sale"}, {"sale"}));
}

TEST_F(ListenerUtilTest, PreHeaderWordMatchesAnythingAfterTrimAndLowerCase) {
  JsonValue rule = json(R"({"containsmatches": "matches"})");
  EXPECT_TRUE(ListenerUtil::contentContainsWord(rule.ref(), {"nothing alike"}, {" Pre_Header "}));
  EXPECT_TRUE(ListenerUtil::contentContainsWord(rule.ref(), {}, {"PRE_ANY"}));
}

TEST_F(ListenerUtilTest, ContentIsLowerCasedButWordsOnlyMatchLiterally) {
  // Case-insensitive only through lower-casing: no other folding or pattern syntax.
  EXPECT_FALSE(ListenerUtil::contentContainsWord(json("{}").ref(), {"sale"}, {"s.le"}));
  EXPECT_TRUE(ListenerUtil::contentContainsWord(json("{}").ref(), {"S.LE"}, {"s.le"}));
}

// Words and content are lower-cased and trimmed as Unicode text.
TEST_F(ListenerUtilTest, WordTestsLowerCaseAccentedLatin) {
  EXPECT_TRUE(ListenerUtil::contentContainsWord(json("{}").ref(), {"ÉTÉ SALE"}, {"été"}));
  EXPECT_TRUE(ListenerUtil::contentContainsWord(json("{}").ref(), {"ÜBER UNS"}, {"über"}));
  EXPECT_TRUE(ListenerUtil::contentContainsWord(json("{}").ref(), {"über uns"}, {"ÜBER"}));
  JsonValue matches = json(R"({"containsmatches": "matches"})");
  EXPECT_TRUE(ListenerUtil::contentContainsWord(matches.ref(), {"ÉCONOMIE"}, {"économie"}));
}

TEST_F(ListenerUtilTest, WordTestsLowerCaseGreekCjkAndEmoji) {
  EXPECT_TRUE(ListenerUtil::contentContainsWord(json("{}").ref(), {"ΣΟΦΊΑ"}, {"σοφία"}));
  EXPECT_TRUE(ListenerUtil::contentContainsWord(json("{}").ref(), {"東京 SALE 🎉"}, {"京 sale 🎉"}));
  JsonValue url = json(R"({"ruletype": "scoreurl", "containsmatches": "matches"})");
  EXPECT_TRUE(ListenerUtil::contentContainsWord(url.ref(), {"東京/ÜBER"}, {"東京/über"}));
}

// The default mapping: "İ" lower-cases to "i" with a combining dot, so it does not equal a
// plain "i".
TEST_F(ListenerUtilTest, WordTestsUseTheDefaultMappingForTheTurkishDottedI) {
  JsonValue matches = json(R"({"containsmatches": "matches"})");
  EXPECT_TRUE(ListenerUtil::contentContainsWord(matches.ref(), {"İSTANBUL"}, {"i̇stanbul"}));
  EXPECT_FALSE(ListenerUtil::contentContainsWord(matches.ref(), {"İSTANBUL"}, {"istanbul"}));
  EXPECT_TRUE(ListenerUtil::contentContainsWord(matches.ref(), {"ISTANBUL"}, {"istanbul"}));
}

TEST_F(ListenerUtilTest, WordTestsTrimUnicodeWhiteSpace) {
  JsonValue matches = json(R"({"containsmatches": "matches"})");
  EXPECT_TRUE(ListenerUtil::contentContainsWord(matches.ref(), {"sale"}, {"sale "}));
  EXPECT_TRUE(ListenerUtil::contentContainsWord(matches.ref(), {"　sale "}, {"SALE"}));
  JsonValue url = json(R"({"ruletype": "scoreurl", "containsmatches": "matches"})");
  EXPECT_TRUE(ListenerUtil::contentContainsWord(url.ref(), {" Home "}, {"home"}));
}

// A literal search for an empty text finds nothing.
TEST_F(ListenerUtilTest, EmptyOrBlankWordMatchesNothing) {
  EXPECT_FALSE(ListenerUtil::contentContainsWord(json("{}").ref(), {"Home"}, {""}));
  EXPECT_FALSE(ListenerUtil::contentContainsWord(json("{}").ref(), {"Home"}, {"  "}));
  EXPECT_FALSE(ListenerUtil::contentContainsWord(json("{}").ref(), {"Home"}, {" "}));
  JsonValue url = json(R"({"ruletype": "scoreurl"})");
  EXPECT_FALSE(ListenerUtil::contentContainsWord(url.ref(), {"Home"}, {"  "}));
  EXPECT_TRUE(ListenerUtil::contentContainsWord(url.ref(), {"Home"}, {"  ", "home"}));
}

// --- applyToSubViews and getContent

TEST_F(ListenerUtilTest, ApplyToSubViewsCollectsTextsDepthFirstAsASet) {
  auto root = std::make_shared<View>();
  auto group = std::make_shared<View>();
  root->addSubview(std::make_shared<Label>("Sale"));
  root->addSubview(group);
  group->addSubview(std::make_shared<Label>("Shoes"));
  group->addSubview(std::make_shared<Label>("Sale"));
  group->addSubview(std::make_shared<Label>());  // a label without text gives nothing
  group->addSubview(std::make_shared<Button>("Buy"));

  std::vector<const platform::View*> visited;
  std::set<std::string> texts = ListenerUtil::applyToSubViews(
      root, [&](const platform::View& view) -> std::optional<std::string> {
        visited.push_back(&view);
        return ListenerUtil::textOf(view);
      });

  EXPECT_THAT(texts, UnorderedElementsAre("Sale", "Shoes"));
  ASSERT_EQ(visited.size(), 7U);
  EXPECT_EQ(visited[0], root.get());
  EXPECT_EQ(visited[1], root->subviews()[0].get());
  EXPECT_EQ(visited[2], group.get());
  EXPECT_EQ(visited[3], group->subviews()[0].get());
}

TEST_F(ListenerUtilTest, ApplyToSubViewsOfNoViewIsEmpty) {
  EXPECT_THAT(ListenerUtil::applyToSubViews(nullptr, &ListenerUtil::textOf), IsEmpty());
}

TEST_F(ListenerUtilTest, ApplyToSubViewsWalksADeepTree) {
  auto root = std::make_shared<View>();
  std::shared_ptr<View> parent = root;
  for (int i = 0; i < 3000; ++i) {
    auto child = std::make_shared<View>();
    parent->addSubview(child);
    parent = child;
  }
  parent->addSubview(std::make_shared<Label>("deep"));
  EXPECT_THAT(ListenerUtil::applyToSubViews(root, &ListenerUtil::textOf), ElementsAre("deep"));
  // Take the chain apart from the bottom, so its destruction does not recurse either.
  while (parent != root) {
    auto up = std::dynamic_pointer_cast<View>(parent->superview());
    parent->removeFromSuperview();
    parent = up;
  }
}

TEST_F(ListenerUtilTest, TextOfReadsOnlyViewsWithATextProperty) {
  EXPECT_EQ(ListenerUtil::textOf(Label("Hi")), "Hi");
  EXPECT_EQ(ListenerUtil::textOf(TextField("")), "");
  EXPECT_EQ(ListenerUtil::textOf(Button("Buy")), std::nullopt);
  EXPECT_EQ(ListenerUtil::textOf(View()), std::nullopt);
}

// Text enters the library as valid UTF-8: each ill-formed part becomes U+FFFD.
TEST_F(ListenerUtilTest, TextOfRepairsTextThatIsNotUtf8) {
  EXPECT_EQ(ListenerUtil::textOf(Label("Caf\xe9 \xf0\x9f\x8e")), "Caf\uFFFD \uFFFD");
  EXPECT_EQ(ListenerUtil::textOf(TextField("東京🎉")), "東京🎉");
}

class ContentTest : public ListenerUtilTest {
 protected:
  ContentTest() {
    auto banner = std::make_shared<View>();
    banner->addSubview(std::make_shared<Label>("Spring sale"));
    banner->addSubview(std::make_shared<Label>("20% off"));
    _screen->view()->addSubview(banner);
    _screen->view()->addSubview(std::make_shared<Label>("Checkout"));
    _screen->view()->addSubview(std::make_shared<TextField>("ann@example.com"));
    _screen->addOutlet("banner", banner);
    _screen->setProperty("headline", std::string("not a view"));
  }

  std::shared_ptr<ViewController> _screen = std::make_shared<ViewController>("Checkout");
  ScreenViews _views{_screen};
};

TEST_F(ContentTest, PreContextGivesTheContext) {
  EXPECT_THAT(ListenerUtil::getContent("pre_context", Strings{"b", "a", "b"}, _views),
              ElementsAre("b", "a", "b"));
  EXPECT_THAT(ListenerUtil::getContent("pre_context", std::nullopt, _views), IsEmpty());
}

TEST_F(ContentTest, JQuerySelectorsGiveNothing) {
  EXPECT_THAT(ListenerUtil::getContent("jQuery('#banner')", std::nullopt, _views), IsEmpty());
  EXPECT_THAT(ListenerUtil::getContent("x jQuery(", std::nullopt, _views), IsEmpty());
}

TEST_F(ContentTest, AnyAndPreHeaderReadTheWholeScreen) {
  EXPECT_THAT(ListenerUtil::getContent("any", std::nullopt, _views),
              UnorderedElementsAre("Spring sale", "20% off", "Checkout", "ann@example.com"));
  EXPECT_THAT(ListenerUtil::getContent("pre_header", Strings{"ignored"}, _views),
              UnorderedElementsAre("Spring sale", "20% off", "Checkout", "ann@example.com"));
}

TEST_F(ContentTest, HashSelectorReadsTheOutletsTree) {
  EXPECT_THAT(ListenerUtil::getContent("#banner", std::nullopt, _views),
              UnorderedElementsAre("Spring sale", "20% off"));
}

TEST_F(ContentTest, SelectorWithoutAViewGivesNothing) {
  EXPECT_THAT(ListenerUtil::getContent("#missing", std::nullopt, _views), IsEmpty());
  EXPECT_THAT(ListenerUtil::getContent("#headline", std::nullopt, _views), IsEmpty());
  EXPECT_THAT(ListenerUtil::getContent("banner", std::nullopt, _views), IsEmpty());
  EXPECT_THAT(ListenerUtil::getContent("pre_body", std::nullopt, _views), IsEmpty());
}

TEST_F(ContentTest, NoScreenGivesNothing) {
  ScreenViews none(nullptr);
  EXPECT_THAT(ListenerUtil::getContent("any", std::nullopt, none), IsEmpty());
}

// --- Parameters

TEST_F(ListenerUtilTest, ValueFromParametersIsTheFirstValue) {
  InteractionContext context =
      contextWithParameters(_platform,
                            R"([{"id": "a", "value": ["1", "2"]}, {"id": "empty", "value": []},
          {"id": "blank", "value": [""]}])");
  EXPECT_EQ(ListenerUtil::getValueFromParameters(&context, "a"), "1");
  EXPECT_EQ(ListenerUtil::getValueFromParameters(&context, "empty"), "");
  EXPECT_EQ(ListenerUtil::getValueFromParameters(&context, "blank"), "");
  EXPECT_EQ(ListenerUtil::getValueFromParameters(&context, "missing"), "");
  EXPECT_EQ(ListenerUtil::getValueFromParameters(nullptr, "a"), "");
}

TEST_F(ListenerUtilTest, ValueFromDictionary) {
  Parameters parameters{{"a", {"x", "y"}}, {"b", {}}};
  EXPECT_EQ(ListenerUtil::getValueFromDictionary(parameters, "a"), "x");
  EXPECT_EQ(ListenerUtil::getValueFromDictionary(parameters, "b"), "");
  EXPECT_EQ(ListenerUtil::getValueFromDictionary(parameters, "c"), "");
}

TEST_F(ListenerUtilTest, DictionaryFromParametersDecodesAnObject) {
  InteractionContext context =
      contextWithParameters(_platform,
                            R"([{"id": "rules", "value": ["{\"rules\": [1]}"]},
          {"id": "list", "value": ["[1, 2]"]}])");
  std::optional<JsonValue> rules = ListenerUtil::getDictionaryFromParameters("rules", &context);
  ASSERT_TRUE(rules.has_value());
  EXPECT_EQ(rules->toCompactString(), R"({"rules":[1]})");
  EXPECT_EQ(ListenerUtil::getDictionaryFromParameters("list", &context), std::nullopt);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ListenerUtilTest, ArrayFromParametersDecodesAList) {
  InteractionContext context =
      contextWithParameters(_platform,
                            R"([{"id": "rules", "value": ["{\"rules\": [1]}"]},
          {"id": "list", "value": ["[1, 2]"]}])");
  std::optional<JsonValue> list = ListenerUtil::getArrayFromParameters("list", &context);
  ASSERT_TRUE(list.has_value());
  EXPECT_EQ(list->toCompactString(), "[1,2]");
  EXPECT_EQ(ListenerUtil::getArrayFromParameters("rules", &context), std::nullopt);
}

// A missing parameter reads as "", which is decoded and logs its JSON error.
TEST_F(ListenerUtilTest, MissingParameterIsDecodedAsEmptyTextAndLogsTheJsonError) {
  InteractionContext context = contextWithParameters(_platform, "[]");
  EXPECT_EQ(ListenerUtil::getDictionaryFromParameters("rules", &context), std::nullopt);
  EXPECT_EQ(ListenerUtil::getArrayFromParameters("rules", nullptr), std::nullopt);
  EXPECT_THAT(logLines(),
              ElementsAre("ERROR [PL_LISTENER_UTIL]: JSON error occurred: incomplete JSON",
                          "ERROR [PL_LISTENER_UTIL]: JSON error occurred: incomplete JSON"));
}

TEST_F(ListenerUtilTest, ParameterThatIsNotJsonLogsAndDecodesToNothing) {
  InteractionContext context =
      contextWithParameters(_platform, R"([{"id": "rules", "value": ["{oops"]}])");
  EXPECT_EQ(ListenerUtil::getDictionaryFromParameters("rules", &context), std::nullopt);
  ASSERT_EQ(logLines().size(), 1U);
  EXPECT_THAT(logLines()[0],
              ::testing::StartsWith("ERROR [PL_LISTENER_UTIL]: JSON error occurred: "));
}

TEST_F(ListenerUtilTest, ProfilePropertyFromParameters) {
  Parameters parameters{
      {"property", {R"([{"profileproperty": "city", "label": "x"}, {"profileproperty": "b"}])"}}};
  EXPECT_EQ(ListenerUtil::getProfilePropertyFromParameters(parameters), "city");
}

TEST_F(ListenerUtilTest, ProfilePropertyNeedsAListOfStringObjects) {
  auto property = [](std::string text) {
    return ListenerUtil::getProfilePropertyFromParameters(Parameters{{"property", {text}}});
  };
  EXPECT_EQ(property(R"({"profileproperty": "city"})"), std::nullopt);
  EXPECT_EQ(property(R"([{"profileproperty": "city", "points": 3}])"), std::nullopt);
  EXPECT_EQ(property(R"([{"profileproperty": "city"}, "b"])"), std::nullopt);
  EXPECT_EQ(property(R"([{"profileproperty": ""}])"), std::nullopt);
  EXPECT_EQ(property(R"([{"other": "city"}])"), std::nullopt);
}

TEST_F(ListenerUtilTest, ProfilePropertyMissingOrEmptyGivesNothing) {
  EXPECT_EQ(ListenerUtil::getProfilePropertyFromParameters({}), std::nullopt);
  EXPECT_EQ(ListenerUtil::getProfilePropertyFromParameters({{"property", {}}}), std::nullopt);
  EXPECT_EQ(ListenerUtil::getProfilePropertyFromParameters({{"property", {"[]"}}}), std::nullopt);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ListenerUtilTest, ProfilePropertyTextThatIsNotJsonIsLoggedOnce) {
  EXPECT_EQ(ListenerUtil::getProfilePropertyFromParameters({{"property", {"[{"}}}), std::nullopt);
  ASSERT_EQ(logLines().size(), 1U);
  EXPECT_THAT(logLines()[0],
              ::testing::StartsWith("ERROR [PL_LISTENER_UTIL]: JSON error occurred: "));
}

// --- JSON text

TEST_F(ListenerUtilTest, StringToJsonParsesObjectsAndArrays) {
  EXPECT_EQ(ListenerUtil::stringToJson(R"({"a": [1, "b"]})")->toCompactString(),
            R"({"a":[1,"b"]})");
  EXPECT_EQ(ListenerUtil::stringToJson("[]")->toCompactString(), "[]");
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ListenerUtilTest, StringToJsonOfTextThatIsNotJsonLogsOnce) {
  EXPECT_EQ(ListenerUtil::stringToJson("not json"), std::nullopt);
  ASSERT_EQ(logLines().size(), 1U);
  EXPECT_THAT(logLines()[0],
              ::testing::StartsWith("ERROR [PL_LISTENER_UTIL]: JSON error occurred: "));
}

TEST_F(ListenerUtilTest, StringToJsonRejectsFragments) {
  EXPECT_EQ(ListenerUtil::stringToJson(R"("text")"), std::nullopt);
  EXPECT_EQ(ListenerUtil::stringToJson("12"), std::nullopt);
  EXPECT_THAT(logLines(),
              ElementsAre("ERROR [PL_LISTENER_UTIL]: JSON error occurred: JSON text did not start "
                          "with array or object and option to allow fragments not set.",
                          "ERROR [PL_LISTENER_UTIL]: JSON error occurred: JSON text did not start "
                          "with array or object and option to allow fragments not set."));
}

TEST_F(ListenerUtilTest, StringToJsonRejectsEmptyTextAndInvalidUtf8) {
  EXPECT_EQ(ListenerUtil::stringToJson(""), std::nullopt);
  EXPECT_EQ(ListenerUtil::stringToJson("[\"\xff\"]"), std::nullopt);
  EXPECT_EQ(logLines().size(), 2U);
}

TEST_F(ListenerUtilTest, StringToJsonRejectsDeepNesting) {
  std::string deep(100000, '[');
  deep += std::string(100000, ']');
  EXPECT_EQ(ListenerUtil::stringToJson(deep), std::nullopt);
  EXPECT_EQ(logLines().size(), 1U);
}

TEST_F(ListenerUtilTest, JsonStringifyPrettyAndCompact) {
  JsonValue value = json(R"({"b": [1, 2.5], "a": "x"})");
  EXPECT_EQ(ListenerUtil::JSONStringify(value.ref(), false), R"({"b":[1,2.5],"a":"x"})");
  EXPECT_EQ(ListenerUtil::JSONStringify(value.ref(), true),
            "{\n  \"b\" : [\n    1,\n    2.5\n  ],\n  \"a\" : \"x\"\n}");
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ListenerUtilTest, JsonStringifyOfABareStringWarns) {
  EXPECT_EQ(ListenerUtil::JSONStringify(json(R"("text")").ref(), true), "");
  EXPECT_THAT(logLines(), ElementsAre("WARNING [PL_LISTENER_UTIL]: Not a valid JSON object"));
}

TEST_F(ListenerUtilTest, JsonStringifyOfNothingOrANumberWarns) {
  EXPECT_EQ(ListenerUtil::JSONStringify(JsonRef(), false), "");
  EXPECT_EQ(ListenerUtil::JSONStringify(json("[1]")[0], false), "");
  EXPECT_EQ(logLines().size(), 2U);
}

TEST_F(ListenerUtilTest, JsonStringifyRejectsNumbersThatAreNotFinite) {
  JsonValue value = JsonValue::array();
  mutableRawJson(value).as_array().emplace_back(std::numeric_limits<double>::infinity());
  EXPECT_EQ(ListenerUtil::JSONStringify(value.ref(), false), "");
  EXPECT_THAT(logLines(), ElementsAre("WARNING [PL_LISTENER_UTIL]: Not a valid JSON object"));
}

// --- Time

TEST_F(ListenerUtilTest, CurrentTimeIsMillisecondsOfThePlatformClock) {
  EXPECT_EQ(ListenerUtil::getCurrentTime(), "1714568531000");
  _platform.clock().advance(std::chrono::milliseconds(1234));
  EXPECT_EQ(ListenerUtil::currentTimeMillis(), 1714568532234);
  EXPECT_EQ(ListenerUtil::getCurrentTime(), "1714568532234");
}

TEST_F(ListenerUtilTest, CurrentDateIsMidnightUtcOfTheLocalDate) {
  // 2024-05-01 13:02:11 UTC.
  EXPECT_EQ(ListenerUtil::getCurrentDate(), "1714521600000");  // 2024-05-01 00:00 UTC
}

TEST_F(ListenerUtilTest, CurrentDateFollowsTheLocalDateEastOfUtc) {
  // 13:02 UTC is already 2 May at UTC+11.
  _platform.clock().setUtcOffset(11 * 3600);
  EXPECT_EQ(ListenerUtil::getCurrentDate(), "1714608000000");  // 2024-05-02 00:00 UTC
}

TEST_F(ListenerUtilTest, CurrentDateFollowsTheLocalDateWestOfUtc) {
  // 01:30 UTC on 1 May is still 30 April at UTC-5.
  _platform.clock().set(platform::Clock::TimePoint(std::chrono::seconds(1714527000)));
  _platform.clock().setUtcOffset(-5 * 3600);
  EXPECT_EQ(ListenerUtil::getCurrentDate(), "1714435200000");  // 2024-04-30 00:00 UTC
}

TEST_F(ListenerUtilTest, CurrentDateBefore1970RoundsDown) {
  _platform.clock().set(platform::Clock::TimePoint(std::chrono::seconds(-1)));
  EXPECT_EQ(ListenerUtil::getCurrentDate(), "-86400000");
}

}  // namespace
}  // namespace pelorin
