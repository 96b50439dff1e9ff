#include "base/text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace pelorin::text {
namespace {

using Strings = std::vector<std::string>;

TEST(TextTest, LowerCasesAccentedLatin) {
  EXPECT_EQ(toLower("ÉTÉ SALE"), "été sale");
  EXPECT_EQ(toLower("ÜBER UNS"), "über uns");
  EXPECT_EQ(toLower("ÉCONOMIE"), "économie");
  EXPECT_EQ(toLower("ÇA VA, ØRESUND, ÅRHUS"), "ça va, øresund, århus");
}

TEST(TextTest, LowerCasesGreekWithFinalSigma) {
  EXPECT_EQ(toLower("ΣΟΦΊΑ"), "σοφία");
  EXPECT_EQ(toLower("ΟΔΟΣ"), "οδος");  // the last sigma is the final form ς
  EXPECT_EQ(toLower("ΟΔΟΣ"), "\u03bf\u03b4\u03bf\u03c2");
}

// The default mapping, not the Turkish one: İ becomes i with a combining dot above, and I
// becomes i (not the dotless ı).
TEST(TextTest, LowerCasesTurkishDottedIAsTheDefaultMappingDoes) {
  EXPECT_EQ(toLower("İSTANBUL"), "i\u0307stanbul");
  EXPECT_EQ(toLower("ISPARTA"), "isparta");
  EXPECT_EQ(toLower("ı"), "ı");
}

TEST(TextTest, LowerCasingKeepsCjkAndEmoji) {
  EXPECT_EQ(toLower("東京 SALE"), "東京 sale");
  EXPECT_EQ(toLower("🎉PARTY👩‍👩‍👧"), "🎉party👩‍👩‍👧");
  EXPECT_EQ(toLower("ＡＢＣ"), "ａｂｃ");  // full-width letters
}

TEST(TextTest, LowerCasingRepairsIllFormedText) {
  EXPECT_EQ(toLower("A\xff"
                    "B"),
            "a\uFFFDb");
}

TEST(TextTest, TrimsUnicodeWhiteSpace) {
  EXPECT_EQ(trim("\u00a0sale\u00a0"), "sale");
  EXPECT_EQ(trim("\u3000東京\u2003"), "東京");
  EXPECT_EQ(trim("\t\n Sale \r\v\f"), "Sale");
  EXPECT_EQ(trim("\u2028\u2029\u0085x\u1680"), "x");
  EXPECT_EQ(trim(" a\u00a0b "), "a\u00a0b");
  EXPECT_EQ(trim("\u00a0 \u3000"), "");
  EXPECT_EQ(trim(""), "");
}

TEST(TextTest, TrimmingKeepsWhatIsNotWhiteSpace) {
  // A zero-width space and a byte-order mark are not white space; emoji and ill-formed
  // bytes stay.
  EXPECT_EQ(trim("\u200bx\ufeff"), "\u200bx\ufeff");
  EXPECT_EQ(trim(" 🎉 "), "🎉");
  EXPECT_EQ(trim(" \xff "), "\xff");
  EXPECT_EQ(trim("\xc2 "), "\xc2");
}

TEST(TextTest, IsWhiteSpaceFollowsTheUnicodeProperty) {
  EXPECT_TRUE(isWhiteSpace(U' '));
  EXPECT_TRUE(isWhiteSpace(U'\u00a0'));
  EXPECT_TRUE(isWhiteSpace(U'\u3000'));
  EXPECT_FALSE(isWhiteSpace(U'\u200b'));
  EXPECT_FALSE(isWhiteSpace(U'a'));
}

TEST(TextTest, RepairReplacesEachIllFormedPartWithOneReplacementCharacter) {
  EXPECT_EQ(repairUtf8("Caf\xc3\xa9"), "Café");
  EXPECT_EQ(repairUtf8("a\xff"
                       "b"),
            "a\uFFFDb");
  EXPECT_EQ(repairUtf8("a\xe2\x82"
                       "b"),
            "a\uFFFDb");                                        // truncated sequence
  EXPECT_EQ(repairUtf8("\xf0\x9f\x8e"), "\uFFFD");              // truncated emoji
  EXPECT_EQ(repairUtf8("\xc0\xaf"), "\uFFFD\uFFFD");            // overlong: two parts
  EXPECT_EQ(repairUtf8("\xed\xa0\x80"), "\uFFFD\uFFFD\uFFFD");  // a surrogate
  EXPECT_EQ(repairUtf8("東京🎉"), "東京🎉");
}

TEST(TextTest, RegexMatchesOverCodePointsNotBytes) {
  EXPECT_EQ(regexMatches(R"(\w+)", "Café/Menü").matches, (Strings{"Café", "Menü"}));
  EXPECT_EQ(regexMatches(R"(^.{4})", "Café/Menü").matches, (Strings{"Café"}));
  EXPECT_EQ(regexMatches(R"(\p{Han}+)", "東京 Tower 大阪").matches, (Strings{"東京", "大阪"}));
  EXPECT_EQ(regexMatches(R"(.)", "🎉a").matches, (Strings{"🎉", "a"}));
  EXPECT_EQ(regexMatches(R"([α-ω]+)", "ΣΟΦΊΑ σοφία").matches, (Strings{"σοφ", "α"}));
}

TEST(TextTest, RegexSupportsIcuSyntax) {
  EXPECT_EQ(regexMatches(R"((?i)checkout)", "CheckOut / CHECKOUT").matches,
            (Strings{"CheckOut", "CHECKOUT"}));
  EXPECT_EQ(regexMatches(R"((?<=/)\w+)", "Café/Menü").matches, (Strings{"Menü"}));
  EXPECT_EQ(regexMatches(R"(\p{Lu})", "Ünïcode Ωmega").matches, (Strings{"Ü", "Ω"}));
  EXPECT_EQ(regexMatches(R"(İ)", "İstanbul").matches, (Strings{"İ"}));
}

TEST(TextTest, RegexWithoutMatchesYieldsAnEmptyList) {
  const RegexResult result = regexMatches("xyz", "Home");
  EXPECT_EQ(result.status, RegexResult::Status::kMatched);
  EXPECT_TRUE(result.matches.empty());
}

TEST(TextTest, RegexThatDoesNotCompileIsInvalid) {
  EXPECT_EQ(regexMatches("(", "Home").status, RegexResult::Status::kInvalid);
  EXPECT_EQ(regexMatches("[a-", "Home").status, RegexResult::Status::kInvalid);
  EXPECT_EQ(regexMatches("a{2,1}", "Home").status, RegexResult::Status::kInvalid);
}

// Nested quantifiers over a text that almost matches backtrack exponentially: the search
// stops at its step limit with no values.
TEST(TextTest, RegexThatRunsOutOfTimeYieldsNoValues) {
  const RegexResult result =
      regexMatches("(a+)+$", std::string(64, 'a') + "!", RegexLimits{5, 1 << 20});
  EXPECT_EQ(result.status, RegexResult::Status::kOutOfBounds);
  EXPECT_TRUE(result.matches.empty());
}

TEST(TextTest, RegexThatRunsOutOfStackYieldsNoValues) {
  const RegexResult result =
      regexMatches("(a|b)*c", std::string(100000, 'a'), RegexLimits{0, 4096});
  EXPECT_EQ(result.status, RegexResult::Status::kOutOfBounds);
  EXPECT_TRUE(result.matches.empty());
}

TEST(TextTest, RegexRepairsIllFormedSubjects) {
  EXPECT_EQ(regexMatches(".", "a\xff").matches, (Strings{"a", "\uFFFD"}));
}

}  // namespace
}  // namespace pelorin::text
