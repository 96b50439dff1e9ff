#include "storage/pelorin_cache.h"

#include <gtest/gtest.h>

namespace pelorin {
namespace {

using Values = std::vector<std::string>;

TEST(PelorinCacheTest, NewCacheIsEmptyUnmodifiedAndWithoutDomainGroup) {
  PelorinCache cache;
  EXPECT_TRUE(cache.properties.empty());
  EXPECT_EQ(cache.domainGroup, std::nullopt);
  EXPECT_FALSE(cache.modified);
}

TEST(PelorinCacheTest, SettingEmptyTextAndAStoresOnlyA) {
  PelorinCache cache;
  cache.setProperties({{"p", {"", "a"}}});
  EXPECT_EQ(cache.properties, (ProfileProperties{{"p", {"a"}}}));
  EXPECT_TRUE(cache.modified);
}

TEST(PelorinCacheTest, SetReplacesStoredValuesAndKeepsOtherProperties) {
  PelorinCache cache;
  cache.properties = {{"a", {"1", "2"}}, {"b", {"x"}}};
  cache.setProperties({{"a", {"3"}}});
  EXPECT_EQ(cache.properties, (ProfileProperties{{"a", {"3"}}, {"b", {"x"}}}));
}

TEST(PelorinCacheTest, SetSkipsAnEmptyNameButStillMarksModified) {
  PelorinCache cache;
  cache.setProperties({{"", {"x"}}});
  EXPECT_TRUE(cache.properties.empty());
  EXPECT_TRUE(cache.modified);
}

TEST(PelorinCacheTest, SetWithOnlyEmptyTextsStoresAnEmptyList) {
  PelorinCache cache;
  cache.properties = {{"a", {"1"}}};
  cache.setProperties({{"a", {"", ""}}});
  EXPECT_EQ(cache.properties, (ProfileProperties{{"a", {}}}));
}

TEST(PelorinCacheTest, SetWithAnEmptyMapMarksModified) {
  PelorinCache cache;
  cache.setProperties({});
  EXPECT_TRUE(cache.modified);
}

TEST(PelorinCacheTest, AddAppendsOnlyValuesNotHeldYetInOrder) {
  PelorinCache cache;
  cache.properties = {{"a", {"x"}}};
  cache.addProperties("a", {"y", "x", "z", "y"});
  EXPECT_EQ(cache.properties["a"], (Values{"x", "y", "z"}));
  EXPECT_TRUE(cache.modified);
}

TEST(PelorinCacheTest, AddToANewPropertyDropsRepeatedValues) {
  PelorinCache cache;
  cache.addProperties("a", {"x", "x"});
  EXPECT_EQ(cache.properties["a"], Values{"x"});
}

TEST(PelorinCacheTest, AddKeepsEmptyTexts) {
  PelorinCache cache;
  cache.addProperties("a", {"", "x"});
  EXPECT_EQ(cache.properties["a"], (Values{"", "x"}));
}

TEST(PelorinCacheTest, AddWithAnEmptyNameDoesNothing) {
  PelorinCache cache;
  cache.addProperties("", {"x"});
  EXPECT_TRUE(cache.properties.empty());
  EXPECT_FALSE(cache.modified);
}

TEST(PelorinCacheTest, AddWithNoValuesStoresAnEmptyListAndMarksModified) {
  PelorinCache cache;
  cache.addProperties("a", {});
  EXPECT_EQ(cache.properties, (ProfileProperties{{"a", {}}}));
  EXPECT_TRUE(cache.modified);
}

TEST(PelorinCacheTest, FilterEmptyKeepsOrder) {
  EXPECT_EQ(PelorinCache::filterEmpty({"b", "", "a", "", "b"}), (Values{"b", "a", "b"}));
  EXPECT_EQ(PelorinCache::filterEmpty({}), Values{});
}

TEST(PelorinCacheTest, EncodesMembersInOrderWithPropertiesByName) {
  PelorinCache cache;
  cache.properties = {{"z", {"1"}}, {"a", {"q\"uote", "back\\slash", "é"}}, {"empty", {}}};
  cache.domainGroup = "g";
  cache.modified = true;
  EXPECT_EQ(cache.encode(),
            R"({"properties":{"a":["q\"uote","back\\slash","é"],"empty":[],"z":["1"]},)"
            R"("domainGroup":"g","modified":true})");
}

TEST(PelorinCacheTest, WithoutDomainGroupTheMemberIsLeftOut) {
  PelorinCache cache;
  EXPECT_EQ(cache.encode(), R"({"properties":{},"modified":false})");
}

TEST(PelorinCacheTest, EncodedTextIsTheCompactFormOfTheDocument) {
  PelorinCache cache;
  cache.properties = {{"b", {"\x1f", "\\"}}, {"a", {}}, {"", {""}}};
  for (bool modified : {false, true}) {
    cache.modified = modified;
    cache.domainGroup = modified ? std::optional<std::string>("dg") : std::nullopt;
    EXPECT_EQ(cache.encode(), cache.toJson().toCompactString());
  }
}

TEST(PelorinCacheTest, EncodedCacheDecodesToAnEqualCache) {
  PelorinCache cache;
  cache.properties = {{"a", {"x", "", "\n\t\x01"}}, {"日本", {"語"}}};
  cache.domainGroup = "";
  cache.modified = true;

  auto decoded = PelorinCache::decode(cache.encode());

  ASSERT_TRUE(decoded.ok()) << decoded.error().message;
  EXPECT_EQ(decoded.value(), cache);
}

TEST(PelorinCacheTest, DecodingIgnoresUnknownMembers) {
  auto decoded = PelorinCache::decode(R"({"modified":false,"extra":1,"properties":{"a":[]}})");
  ASSERT_TRUE(decoded.ok());
  EXPECT_EQ(decoded.value().properties, (ProfileProperties{{"a", {}}}));
}

TEST(PelorinCacheTest, DecodingANameStoredTwiceKeepsTheLastList) {
  auto decoded = PelorinCache::decode(R"({"properties":{"a":["1"],"a":["2"]},"modified":false})");
  ASSERT_TRUE(decoded.ok());
  EXPECT_EQ(decoded.value().properties, (ProfileProperties{{"a", {"2"}}}));
}

TEST(PelorinCacheTest, DecodingFailsWithoutPropertiesOrModified) {
  EXPECT_EQ(PelorinCache::decode(R"({"modified":true})").error().message,
            R"(cache: missing or mistyped member "properties")");
  EXPECT_EQ(PelorinCache::decode(R"({"properties":{}})").error().message,
            R"(cache: missing or mistyped member "modified")");
  EXPECT_EQ(PelorinCache::decode("nope").error().message, "cache: syntax error");
}

TEST(PelorinCacheTest, HoldsTellsWhetherSettingWouldChangeNothing) {
  PelorinCache cache;
  cache.setProperties({{"city", {"Utrecht"}}, {"tags", {"a", "b"}}});
  EXPECT_TRUE(cache.holds({}));
  EXPECT_TRUE(cache.holds({{"city", {"", "Utrecht"}}, {"", {"x"}}}));
  EXPECT_TRUE(cache.holdsExactly({{"city", {"Utrecht"}}, {"tags", {"a", "b", ""}}, {"", {}}}));
  EXPECT_FALSE(cache.holdsExactly({{"city", {"Utrecht"}}}));
  EXPECT_FALSE(cache.holds({{"tags", {"b", "a"}}}));
  EXPECT_FALSE(cache.holds({{"other", {}}}));
  EXPECT_FALSE(cache.holdsExactly({{"city", {"Utrecht"}}, {"tags", {"a", "b"}}, {"other", {}}}));
}

}  // namespace
}  // namespace pelorin
