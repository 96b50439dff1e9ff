// One reading of the screen per pass: the listeners collect the same changes, in the same
// order, with the same log lines, whether the rules of a pass share one reading of the
// screen or each reads it again. Compared on random screens and random rules.
#include "listeners/screen_reading.h"

#include "json/json_value_access.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json.hpp>

#include "base/text.h"
#include "listeners/engagement_service.h"
#include "listeners/form_listening_service.h"
#include "listeners/listener_util.h"
#include "listeners/rule_service.h"
#include "listeners/rule_service_fixture.h"
#include "pelorin/headless/toolkit.h"

namespace pelorin::testing {
namespace {

using ::testing::ElementsAre;
using Strings = std::vector<std::string>;

// Texts with mixed case, blanks around them, repeats and non-ASCII letters, so lower-casing,
// trimming and the merging of duplicates all matter.
const Strings kWords = {"Sale",     "SHOES",   "hats",  " Été ",        "Straße",
                        "ÜBER uns", "sale",    "Σοφία", "shoes & hats", "",
                        "  ",       "20% off", "new",   "İstanbul"};

class ScreenReadingTest : public RuleServiceTest {
 protected:
  ~ScreenReadingTest() override { ScreenReading::setSharing(true); }

  // Random labels, text fields and containers under the checkout screen's banner and root,
  // with outlets "s0".."s4" on some containers.
  void randomScreen(std::mt19937& random) {
    std::vector<std::shared_ptr<platform::View>> containers{_screen.controller->view(),
                                                            _screen.banner};
    const int views = 20 + static_cast<int>(random() % 60);
    int outlets = 0;
    for (int i = 0; i < views; ++i) {
      const auto& parent = containers[random() % containers.size()];
      const std::string& word = kWords[random() % kWords.size()];
      switch (random() % 4) {
        case 0: {
          auto container = std::make_shared<headless::View>();
          parent->addSubview(container);
          containers.push_back(container);
          if (outlets < 5)
            _screen.controller->addOutlet("s" + std::to_string(outlets++), container);
          break;
        }
        case 1:
          parent->addSubview(std::make_shared<headless::TextField>(word));
          break;
        default:
          parent->addSubview(std::make_shared<headless::Label>(word + " " + std::to_string(i % 3)));
          break;
      }
    }
  }

  static std::string randomSelector(std::mt19937& random) {
    const Strings selectors = {"any", "pre_body", "pre_header", "#banner",  "#s0",        "#s1",
                               "#s2", "#s3",      "#s4",        "#missing", "pre_context"};
    return selectors[random() % selectors.size()];
  }

  static boost::json::array randomWords(std::mt19937& random) {
    boost::json::array words;
    const std::size_t count = random() % 4;
    for (std::size_t i = 0; i < count; ++i) {
      const std::string& word = kWords[random() % kWords.size()];
      words.emplace_back(random() % 3 == 0 ? word.substr(0, word.size() / 2) : word);
    }
    return words;
  }

  static std::string randomMode(std::mt19937& random) {
    const Strings modes = {"contains", "matches", "empty", "contains"};
    return modes[random() % modes.size()];
  }

  static JsonValue randomBehaviourRules(std::mt19937& random) {
    boost::json::array rules;
    const int count = 1 + static_cast<int>(random() % 12);
    for (int i = 0; i < count; ++i) {
      boost::json::object rule;
      rule["profileproperty"] =
          boost::json::array{boost::json::object{{"profileproperty", "p" + std::to_string(i % 4)}}};
      rule["addset"] = random() % 2 == 0 ? "set" : "add";
      rule["words"] = randomWords(random);
      rule["containsmatches"] = randomMode(random);
      switch (random() % 5) {
        case 0:
          rule["values"] = {{"selectedoption", "selector"}, {"selector", randomSelector(random)}};
          break;
        case 1:
          rule["values"] = {{"selectedoption", "context"}};
          break;
        default:
          rule["values"] = boost::json::array{"v" + std::to_string(i)};
          break;
      }
      switch (random() % 4) {
        case 0:
        case 1:
          rule["ruletype"] = "scorecontent";
          rule["contentarea"] = {{"selector", randomSelector(random)}};
          break;
        case 2:
          rule["ruletype"] = "scoreclick";
          rule["clickarea"] = {{"selector", "#buyButton"}};
          rule["contentarea"] = {{"selector", randomSelector(random)}};
          break;
        default:
          rule["ruletype"] = "scoreurl";
          rule["url"] = "url";
          break;
      }
      rules.push_back(std::move(rule));
    }
    return toJsonValue(boost::json::value(std::move(rules)));
  }

  static JsonValue randomEngagementRules(std::mt19937& random) {
    boost::json::array rules;
    const int count = 1 + static_cast<int>(random() % 12);
    for (int i = 0; i < count; ++i) {
      boost::json::object rule;
      rule["points"] = 1 + static_cast<int>(random() % 5);
      rule["words"] = randomWords(random);
      rule["containsmatches"] = randomMode(random);
      switch (random() % 4) {
        case 0:
          rule["interests"] = boost::json::array{"pre_any"};
          break;
        case 1:
          rule["interests"] = boost::json::array{"pre_context"};
          break;
        case 2:
          rule["interests"] = {{"selector", randomSelector(random)}};
          break;
        default:
          rule["interests"] = boost::json::array{"shoes", "hats"};
          break;
      }
      if (random() % 3 == 0) {
        rule["ruletype"] = "interestclick";
        rule["clickarea"] = {{"selector", "#buyButton"}};
        rule["contentarea"] = {{"selector", randomSelector(random)}};
      } else {
        rule["ruletype"] = "interestcontent";
        rule["contentarea"] = {{"selector", randomSelector(random)}};
      }
      rules.push_back(std::move(rule));
    }
    return toJsonValue(boost::json::value(std::move(rules)));
  }

  static JsonValue randomFormRules(std::mt19937& random) {
    boost::json::array rules;
    const int count = 1 + static_cast<int>(random() % 8);
    for (int i = 0; i < count; ++i) {
      boost::json::object rule;
      rule["profileProperty"] = "f" + std::to_string(i % 3);
      rule["addset"] = random() % 2 == 0 ? "set" : "add";
      rule["action"] = {{"type", random() % 2 == 0 ? "clickselection" : "formselection"},
                        {"selector", "#buyButton"}};
      rule["formfield"] = {{"selector", randomSelector(random)}};
      rules.push_back(std::move(rule));
    }
    return toJsonValue(boost::json::value(std::move(rules)));
  }

  // Content updates and taps, the same for both runs.
  static std::vector<Strings> randomUpdates(std::mt19937& random) {
    std::vector<Strings> updates;
    const int count = 1 + static_cast<int>(random() % 4);
    for (int i = 0; i < count; ++i) {
      Strings content;
      const std::size_t size = random() % 4;
      for (std::size_t j = 0; j < size; ++j) content.push_back(kWords[random() % kWords.size()]);
      updates.push_back(std::move(content));
    }
    return updates;
  }

  static int countLines(const std::vector<std::string>& lines, std::string_view part) {
    return static_cast<int>(std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
      return line.find(part) != std::string::npos;
    }));
  }

  // The log lines of a page view of the rules, a tap on the buy button and the updates,
  // with or without one reading per pass.
  template <typename MakeService>
  std::vector<std::string> run(bool sharing, const JsonValue& rules,
                               const std::vector<Strings>& updates, MakeService make) {
    ScreenReading::setSharing(sharing);
    _bus.clearEventHandlers();
    _bus.clearEvents();
    clearLog();
    auto service = make();
    service->applyRules(rules.ref());
    _screen.buy->tap();
    for (const Strings& update : updates) {
      _bus.publish(std::make_shared<UpdateContentEvent>(update));
      _bus.publish(std::make_shared<UpdateContentEvent>("#banner", update));
    }
    _bus.clearEventHandlers();
    return _platform.logLines();
  }
};

TEST_F(ScreenReadingTest, BehaviourRulesCollectTheSameChangesWithOneReadingPerPass) {
  showScreen("Checkout");
  const std::string_view kChangeLine = "[PL_RULESERVICE]: Profile Change: ";
  int changes = 0;
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 random(seed);
    randomScreen(random);
    const JsonValue rules = randomBehaviourRules(random);
    const std::vector<Strings> updates = randomUpdates(random);
    auto make = [&] {
      auto service = std::make_shared<RuleService>();
      service->setClient(_client);
      service->setListenerId("i1");
      return service;
    };
    const std::vector<std::string> shared = run(true, rules, updates, make);
    const std::vector<std::string> unshared = run(false, rules, updates, make);
    EXPECT_EQ(shared, unshared) << "seed " << seed << ", rules " << rules.toCompactString();
    changes += countLines(shared, kChangeLine);
  }
  // The comparison is worth something only when rules do collect changes.
  EXPECT_GT(changes, 20);
}

TEST_F(ScreenReadingTest, EngagementRulesScoreTheSameWithOneReadingPerPass) {
  showScreen("Checkout");
  const std::string_view kChangeLine = "[PL_ENGAGMENTSERVICE]: Saving: ";
  int changes = 0;
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 random(seed);
    randomScreen(random);
    const JsonValue rules = randomEngagementRules(random);
    const std::vector<Strings> updates = randomUpdates(random);
    const bool isInterest = seed % 2 == 0;
    auto make = [&] {
      return std::make_shared<EngagementService>(_client, "i1", "engagement", isInterest,
                                                 Strings(kWords.begin(), kWords.end()), false);
    };
    const std::vector<std::string> shared = run(true, rules, updates, make);
    const std::vector<std::string> unshared = run(false, rules, updates, make);
    EXPECT_EQ(shared, unshared) << "seed " << seed << ", rules " << rules.toCompactString();
    changes += countLines(shared, kChangeLine);
  }
  // The comparison is worth something only when rules do collect changes.
  EXPECT_GT(changes, 20);
}

TEST_F(ScreenReadingTest, FormRulesTakeTheSameValuesWithOneReadingPerPass) {
  const std::string_view kChangeLine = "[PL_FORMSERVICE]: Profile Change: ";
  int changes = 0;
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 random(seed);
    randomScreen(random);
    const JsonValue rules = randomFormRules(random);
    auto make = [&] {
      auto service = std::make_shared<FormListeningService>(_client);
      service->setListenerId("i1");
      return service;
    };
    const std::vector<std::string> shared = run(true, rules, {}, make);
    const std::vector<std::string> unshared = run(false, rules, {}, make);
    EXPECT_EQ(shared, unshared) << "seed " << seed << ", rules " << rules.toCompactString();
    changes += countLines(shared, kChangeLine);
  }
  // The comparison is worth something only when rules do collect changes.
  EXPECT_GT(changes, 20);
}

// Texts built to meet the sort's corners: long shared beginnings, texts that end in or
// hold zero bytes, bytes above 0x7F, repeats.
std::string randomText(std::mt19937& random) {
  const Strings parts = {"Item 12",
                         "Item 123",
                         "Item 123 shoes SALE and more",
                         "a",
                         std::string("a\0", 2),
                         std::string("\0", 1),
                         "\xC3\xA9t\xC3\xA9",
                         "\xFF",
                         "zz",
                         " ",
                         "Item 123 shoes SALE and more!"};
  std::string text;
  const std::size_t count = random() % 4;
  for (std::size_t i = 0; i < count; ++i) text += parts[random() % parts.size()];
  return text;
}

TEST(SortedRanksTest, RanksFollowTheOrderOfASetOfTheTexts) {
  for (unsigned seed = 1; seed <= 200; ++seed) {
    std::mt19937 random(seed);
    Strings texts;
    const std::size_t count = random() % 300;
    for (std::size_t i = 0; i < count; ++i) texts.push_back(randomText(random));
    std::vector<std::size_t> firsts;
    const std::vector<std::size_t> ranks = ListenerUtil::sortedRanks(texts, firsts);
    const std::set<std::string> expected(texts.begin(), texts.end());
    ASSERT_EQ(firsts.size(), expected.size()) << "seed " << seed;
    Strings distinct;
    for (std::size_t first : firsts) distinct.push_back(texts[first]);
    EXPECT_EQ(distinct, Strings(expected.begin(), expected.end())) << "seed " << seed;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      EXPECT_EQ(distinct[ranks[i]], texts[i]) << "seed " << seed;
    }
  }
}

// Whitespace, letters in both cases, non-ASCII letters and word pieces, so that the
// lower-cased comparisons and the table of four-byte pieces both matter.
Strings randomContentTexts(std::mt19937& random) {
  Strings texts;
  const std::size_t count = random() % 12;
  for (std::size_t i = 0; i < count; ++i) {
    std::string text;
    const std::size_t words = random() % 3;
    for (std::size_t j = 0; j < words; ++j) {
      if (j > 0 || random() % 4 == 0) text += random() % 2 == 0 ? " " : "\t";
      text += kWords[random() % kWords.size()];
    }
    if (random() % 4 == 0) text += "\n";
    texts.push_back(text);
  }
  return texts;
}

std::string randomWord(std::mt19937& random) {
  std::string word = kWords[random() % kWords.size()];
  if (random() % 3 == 0) word += " " + kWords[random() % kWords.size()];
  if (random() % 3 == 0 && word.size() > 2) word = word.substr(random() % 2, word.size() - 1);
  return text::toLower(text::trim(word));
}

TEST(ContentTest, SharedSearchesAnswerAsTheirPlainForms) {
  int found = 0;
  for (unsigned seed = 1; seed <= 300; ++seed) {
    std::mt19937 random(seed);
    const Strings texts = randomContentTexts(random);
    const Content shared(texts);
    for (int i = 0; i < 40; ++i) {
      const std::string word = randomWord(random);
      ScreenReading::setSharing(false);
      const Content plain(texts);
      const bool contains = plain.joinedLowerContains(word);
      const bool matches = plain.hasLowerText(word);
      EXPECT_EQ(matches, std::ranges::find(plain.lowerTexts(), word) != plain.lowerTexts().end());
      ScreenReading::setSharing(true);
      // Twice: the second answer comes from what the first kept.
      EXPECT_EQ(shared.joinedLowerContains(word), contains) << "seed " << seed << " " << word;
      EXPECT_EQ(shared.joinedLowerContains(word), contains) << "seed " << seed << " " << word;
      EXPECT_EQ(shared.hasLowerText(word), matches) << "seed " << seed << " " << word;
      found += contains ? 1 : 0;
    }
  }
  EXPECT_GT(found, 500);
}

TEST(ContentTest, TextsOfLowerCasedFormsAreComparedAsTheyAreAfterLowerCasing) {
  ScreenReading::setSharing(true);
  const Content content(Strings{" SHOES\t",
                                "Stra\xC3\x9F"
                                "e",
                                "\xC3\x89T\xC3\x89 ", std::string("a\0b", 3)});
  EXPECT_TRUE(content.hasLowerText("shoes"));
  EXPECT_TRUE(
      content.hasLowerText("stra\xC3\x9F"
                           "e"));
  EXPECT_TRUE(content.hasLowerText("\xC3\xA9t\xC3\xA9"));
  EXPECT_TRUE(content.hasLowerText(std::string("a\0b", 3)));
  EXPECT_FALSE(content.hasLowerText("shoe"));
  EXPECT_FALSE(content.hasLowerText(" shoes"));
}

// A screen whose rules read the whole screen first: the sections that follow are read
// from that walk. They give what a reading of their own gives, and a view outside the
// screen is read on its own.
TEST_F(ScreenReadingTest, SectionsReadFromTheWholeScreenGiveWhatTheirOwnReadingGives) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    std::mt19937 random(seed);
    randomScreen(random);
    auto outside = std::make_shared<headless::View>();
    outside->addSubview(std::make_shared<headless::Label>("Elsewhere"));
    _screen.controller->addOutlet("outside", outside);
    ScreenReading reading;
    const Strings whole = reading.content("any", std::nullopt).texts();
    EXPECT_EQ(whole, ListenerUtil::getContent("any", std::nullopt)) << "seed " << seed;
    for (const std::string selector : {"#s0", "#s1", "#s2", "#s3", "#s4", "#banner", "#buyButton",
                                       "#outside", "#missing", "pre_header", "jQuery('#s1')"}) {
      const Content& read = reading.content(selector, std::nullopt);
      const Content own(ListenerUtil::getContent(selector, std::nullopt));
      EXPECT_EQ(read.joinedLower(), own.joinedLower()) << "seed " << seed << " " << selector;
      EXPECT_EQ(read.lowerTexts(), own.lowerTexts()) << "seed " << seed << " " << selector;
      EXPECT_EQ(read.empty(), own.empty()) << "seed " << seed << " " << selector;
      EXPECT_EQ(read.texts(), own.texts()) << "seed " << seed << " " << selector;
    }
  }
}

// A view that counts how often its text is read.
class CountingLabel : public headless::Label {
 public:
  using Label::Label;
  std::optional<std::string> text() const override {
    ++reads;
    return Label::text();
  }
  mutable int reads = 0;
};

TEST_F(ScreenReadingTest, PageViewReadsEachSelectorOnce) {
  auto label = std::make_shared<CountingLabel>("Spring shoes");
  _screen.banner->addSubview(label);
  apply(R"([{"contentarea": {"selector": "#banner"}, "words": ["shoes"],
             "profileproperty": [{"profileproperty": "a"}], "addset": "set", "values": ["1"]},
            {"contentarea": {"selector": "#banner"}, "words": ["hats"],
             "profileproperty": [{"profileproperty": "b"}], "addset": "set", "values": ["2"]},
            {"contentarea": {"selector": "pre_body"}, "words": ["shoes"],
             "profileproperty": [{"profileproperty": "c"}], "addset": "set", "values": ["3"]}])");
  // Once for "#banner", once for the whole screen.
  EXPECT_EQ(label->reads, 2);
}

TEST_F(ScreenReadingTest, EachEventReadsTheScreenAnew) {
  auto label = std::make_shared<CountingLabel>("Spring shoes");
  _screen.banner->addSubview(label);
  auto service = apply(R"([{"ruletype": "scoreclick", "clickarea": {"selector": "#buyButton"},
      "contentarea": {"selector": "#banner"}, "words": ["hats"],
      "profileproperty": [{"profileproperty": "tap"}], "addset": "add", "values": ["x"]}])");
  _screen.buy->tap();
  EXPECT_EQ(profile("tap"), std::nullopt);
  // A later tap sees the text as it is then.
  label->setText("Summer hats");
  _screen.buy->tap();
  EXPECT_EQ(profile("tap"), Strings{"x"});
}

TEST_F(ScreenReadingTest, ContentIsLowerCasedAndTrimmedAsTheTextModuleDoesIt) {
  const Content content(Strings{" ÜBER ", "Straße", "SALE "});
  EXPECT_EQ(content.joinedLower(), "über  straße sale");
  EXPECT_THAT(content.lowerTexts(), ElementsAre("über", "straße", "sale"));
  ScreenReading reading;
  EXPECT_EQ(reading.lowerWord("  İSTANBUL "), "i̇stanbul");
  EXPECT_EQ(&reading.lowerWord("Sale"), &reading.lowerWord("Sale"));
}

}  // namespace
}  // namespace pelorin::testing
