#include "protocol/profile_hash.h"

#include <limits>

#include <gtest/gtest.h>

namespace pelorin {
namespace {

using Properties = ProfileHash::Properties;

TEST(ProfileHashTest, NameAWithValuesBAndCGives294) {
  EXPECT_EQ(ProfileHash::getHash(Properties{{"a", {"b", "c"}}}), "294;");
}

TEST(ProfileHashTest, SumOfTenThousandOrMoreIsReducedModuloTenThousand) {
  // 97 + 102 * 100 = 10297.
  EXPECT_EQ(ProfileHash::getHash(Properties{{"a", {std::string(102, 'd')}}}), "297;");
}

TEST(ProfileHashTest, ReducedSumHasNoLeadingZeros) {
  // 97 + 99 * 100 + 8 = 10005.
  EXPECT_EQ(ProfileHash::getHash(Properties{{"a", {std::string(99, 'd'), "\x08"}}}), "5;");
}

TEST(ProfileHashTest, PiecesFollowTheMapOrderEachEndingWithTheSeparator) {
  // "a" + 11 x "d" + "%" = 1234; "b" + 8 x "d" + "Y" = 987.
  Properties properties{{"b", {std::string(8, 'd'), "Y"}}, {"a", {std::string(11, 'd'), "%"}}};
  EXPECT_EQ(ProfileHash::getHash(properties), "1234;987;");
}

TEST(ProfileHashTest, EmptyMapGivesEmptyText) { EXPECT_EQ(ProfileHash::getHash(Properties{}), ""); }

TEST(ProfileHashTest, NoMapGivesEmptyText) {
  EXPECT_EQ(ProfileHash::getHash(std::optional<Properties>()), "");
}

TEST(ProfileHashTest, EmptyNameWithoutValuesContributesZero) {
  EXPECT_EQ(ProfileHash::getHash(Properties{{"", {}}}), "0;");
}

TEST(ProfileHashTest, NoTextOrEmptyTextSumsToZero) {
  EXPECT_EQ(ProfileHash::getHash(std::optional<std::string_view>()), 0);
  EXPECT_EQ(ProfileHash::getHash(""), 0);
}

TEST(ProfileHashTest, NonAsciiCharacterCountsWithItsCodePoint) {
  EXPECT_EQ(ProfileHash::getHash("\u00e9"), 233);
  EXPECT_EQ(ProfileHash::getHash("\u65e5"), 0x65e5);
  EXPECT_EQ(ProfileHash::getHash("\U0001F600"), 0x1F600);
  EXPECT_EQ(ProfileHash::getHash(Properties{{"\u00e9", {}}}), "233;");
}

TEST(ProfileHashTest, CharacterOfSeveralScalarsCountsEveryScalar) {
  EXPECT_EQ(ProfileHash::getHash("e\u0301"), 101 + 0x301);
  EXPECT_EQ(ProfileHash::getHash("\U0001F1F3\U0001F1F1"), 0x1F1F3 + 0x1F1F1);
}

TEST(ProfileHashTest, InvalidUtf8CountsAsReplacementCharacters) {
  constexpr std::int64_t kFffd = 0xFFFD;
  EXPECT_EQ(ProfileHash::getHash("\xff"), kFffd);
  EXPECT_EQ(ProfileHash::getHash("a\x80"
                                 "b"),
            97 + kFffd + 98);
  // A cut-off sequence counts once; the byte that broke it starts the next character.
  EXPECT_EQ(ProfileHash::getHash("\xe2\x82"), kFffd);
  EXPECT_EQ(ProfileHash::getHash("\xe2\x82"
                                 "a"),
            kFffd + 97);
  // Overlong forms, surrogates and values past U+10FFFF are ill-formed byte by byte.
  EXPECT_EQ(ProfileHash::getHash("\xc0\xaf"), 2 * kFffd);
  EXPECT_EQ(ProfileHash::getHash("\xed\xa0\x80"), 3 * kFffd);
  EXPECT_EQ(ProfileHash::getHash("\xf4\x90\x80\x80"), 4 * kFffd);
  EXPECT_EQ(ProfileHash::getHash("\xf0\x9f\x98"), kFffd);
}

TEST(ProfileHashTest, LargestCodePointsDecode) {
  EXPECT_EQ(ProfileHash::getHash("\U0010FFFF"), 0x10FFFF);
  EXPECT_EQ(ProfileHash::getHash("\u07ff\u0800\uffff\U00010000"), 0x7FF + 0x800 + 0xFFFF + 0x10000);
  EXPECT_EQ(ProfileHash::getHash(std::string_view("\0", 1)), 0);
}

TEST(ProfileHashTest, AddTextSumReportsASumPastTheSixtyFourBitRange) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(ProfileHash::addTextSum(kMax - 97, "a"), kMax);
  EXPECT_EQ(ProfileHash::addTextSum(kMax - 96, "a"), std::nullopt);
  EXPECT_EQ(ProfileHash::addTextSum(5, ""), 5);
}

}  // namespace
}  // namespace pelorin
