#include "storage/pelorin_commit_log.h"

#include <gtest/gtest.h>

#include "support/test_platform.h"

namespace pelorin {
namespace {

using Values = std::vector<std::string>;

TEST(PelorinCommitLogTest, NewLogIsEmptyAndUnmodified) {
  PelorinCommitLog log;
  EXPECT_TRUE(log.isEmpty());
  EXPECT_FALSE(log.isModified());
}

TEST(PelorinCommitLogTest, SetWithEmptyValueListChangesNothing) {
  PelorinCommitLog log;
  log.setProperties("a", {});
  EXPECT_TRUE(log.isEmpty());
  EXPECT_FALSE(log.isModified());
}

TEST(PelorinCommitLogTest, EmptyNameIsIgnored) {
  PelorinCommitLog log;
  log.setProperties("", {"x"});
  log.addProperties("", {"x"});
  log.addProperties("a", {});
  EXPECT_TRUE(log.isEmpty());
  EXPECT_FALSE(log.isModified());
  EXPECT_EQ(log.getProperty(""), nullptr);
}

TEST(PelorinCommitLogTest, SetAppendsSetEntryAndMarksModified) {
  PelorinCommitLog log;
  log.setProperties("city", {"Utrecht"});
  ASSERT_NE(log.getProperty("city"), nullptr);
  EXPECT_EQ(log.getProperty("city")->type(), OperationType::SET);
  EXPECT_EQ(log.getProperty("city")->values(), Values{"Utrecht"});
  EXPECT_TRUE(log.isModified());
}

TEST(PelorinCommitLogTest, FirstAddKeepsDuplicatesThenAddsOnlyNewValues) {
  PelorinCommitLog log;
  log.addProperties("a", {"x", "x"});
  EXPECT_EQ(log.getProperty("a")->values(), (Values{"x", "x"}));
  log.addProperties("a", {"x", "y"});
  EXPECT_EQ(log.getProperty("a")->values(), (Values{"x", "x", "y"}));
  EXPECT_EQ(log.getProperty("a")->type(), OperationType::ADD);
}

TEST(PelorinCommitLogTest, SetAfterAddKeepsAddType) {
  PelorinCommitLog log;
  log.addProperties("a", {"x"});
  log.setProperties("a", {"y"});
  ASSERT_EQ(log.properties().size(), 1U);
  EXPECT_EQ(log.properties()[0].type(), OperationType::ADD);
  EXPECT_EQ(log.properties()[0].values(), Values{"y"});
}

TEST(PelorinCommitLogTest, AddAfterSetExtendsSetEntry) {
  PelorinCommitLog log;
  log.setProperties("a", {"x"});
  log.addProperties("a", {"x", "z"});
  ASSERT_EQ(log.properties().size(), 1U);
  EXPECT_EQ(log.properties()[0].type(), OperationType::SET);
  EXPECT_EQ(log.properties()[0].values(), (Values{"x", "z"}));
}

// The one-value form gives the same log as the list form, whatever came before.
TEST(PelorinCommitLogTest, SetPropertyIsSetPropertiesWithOneValue) {
  PelorinCommitLog single;
  PelorinCommitLog list;
  single.setProperty("", "x");
  EXPECT_TRUE(single.isEmpty());
  EXPECT_FALSE(single.isModified());
  for (PelorinCommitLog* log : {&single, &list}) {
    log->addProperties("tags", {"a", "b"});
    log->setProperties("city", {"Utrecht", "Amsterdam"});
  }
  single.setProperty("tags", "c");
  single.setProperty("city", "Delft");
  single.setProperty("name", "Ann");
  list.setProperties("tags", {"c"});
  list.setProperties("city", {"Delft"});
  list.setProperties("name", {"Ann"});
  EXPECT_EQ(single, list);
  EXPECT_EQ(single.getProperty("tags")->type(), OperationType::ADD);
  EXPECT_EQ(single.getProperty("tags")->values(), Values{"c"});
  EXPECT_EQ(single.getProperty("name")->type(), OperationType::SET);
  EXPECT_TRUE(single.isModified());
}

TEST(PelorinCommitLogTest, GetPropertiesFiltersByTypeInLogOrder) {
  PelorinCommitLog log;
  log.setProperties("s1", {"1"});
  log.addProperties("a1", {"2"});
  log.setProperties("s2", {"3"});
  auto sets = log.getProperties(OperationType::SET);
  ASSERT_EQ(sets.size(), 2U);
  EXPECT_EQ(sets[0].identifier(), "s1");
  EXPECT_EQ(sets[1].identifier(), "s2");
  auto adds = log.getProperties(OperationType::ADD);
  ASSERT_EQ(adds.size(), 1U);
  EXPECT_EQ(adds[0].identifier(), "a1");
}

TEST(PelorinCommitLogTest, ClickWithAmountZeroCreatesCountOneAndThenStays) {
  PelorinCommitLog log;
  log.updateEvent(EventType::CLICK, "i1", 0);
  ASSERT_NE(log.getEvent(EventType::CLICK, "i1"), nullptr);
  EXPECT_EQ(log.getEvent(EventType::CLICK, "i1")->count(), 1);
  log.updateEvent(EventType::CLICK, "i1", 0);
  EXPECT_EQ(log.getEvent(EventType::CLICK, "i1")->count(), 1);
}

TEST(PelorinCommitLogTest, EventsDoNotMarkModified) {
  PelorinCommitLog log;
  log.updateEvent(EventType::VIEW, "i1", 1);
  EXPECT_FALSE(log.isModified());
}

TEST(PelorinCommitLogTest, NewEntryWithNegativeAmountCountsOne) {
  PelorinCommitLog log;
  log.updateEvent(EventType::VIEW, "i1", -5);
  EXPECT_EQ(log.getEvent(EventType::VIEW, "i1")->count(), 1);
  log.updateEvent(EventType::VIEW, "i1", -3);
  EXPECT_EQ(log.getEvent(EventType::VIEW, "i1")->count(), -2);
}

TEST(PelorinCommitLogTest, EventTypesOfOneInteractionAreSeparateEntries) {
  PelorinCommitLog log;
  log.updateEvent(EventType::VIEW, "i1", 3);
  log.updateEvent(EventType::CLICK, "i1", 1);
  ASSERT_EQ(log.events().size(), 2U);
  EXPECT_EQ(log.getEvent(EventType::VIEW, "i1")->count(), 3);
  EXPECT_EQ(log.getEvent(EventType::CLICK, "i1")->count(), 1);
  EXPECT_EQ(log.getEvent(EventType::CONVERSION, "i1"), nullptr);
}

TEST(PelorinCommitLogTest, CountOverflowIsLoggedAndSaturates) {
  testing::TestPlatform test;
  PelorinCommitLog log;
  log.updateEvent(EventType::CLICK, "i1", std::numeric_limits<std::int64_t>::max());
  log.updateEvent(EventType::CLICK, "i1", 1);
  EXPECT_EQ(log.getEvent(EventType::CLICK, "i1")->count(),
            std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(test.logLines(),
            std::vector<std::string>{
                "WARNING [PL_DATA_MANAGER]: Event count overflow for interaction i1"});
}

TEST(PelorinCommitLogTest, MergingAnEmptyLogChangesNothing) {
  PelorinCommitLog log;
  log.setProperties("a", {"1"});
  PelorinCommitLog before = log;
  PelorinCommitLog empty;
  log.merge(empty);
  EXPECT_EQ(log, before);
}

TEST(PelorinCommitLogTest, MergeIntoEmptyLogReproducesEntriesAndEmptiesSource) {
  PelorinCommitLog source;
  source.setProperties("s", {"1"});
  source.addProperties("a", {"x", "x"});
  source.updateEvent(EventType::CLICK, "i1", 2);
  PelorinCommitLog target;
  target.merge(source);
  EXPECT_TRUE(source.isEmpty());
  EXPECT_TRUE(source.isModified());  // the source keeps its flag
  ASSERT_EQ(target.properties().size(), 2U);
  EXPECT_EQ(target.properties()[0], PelorinPropertyCommitEntry(OperationType::SET, "s", {"1"}));
  EXPECT_EQ(target.properties()[1],
            PelorinPropertyCommitEntry(OperationType::ADD, "a", {"x", "x"}));
  ASSERT_EQ(target.events().size(), 1U);
  EXPECT_EQ(target.events()[0], PelorinEventCommitEntry(EventType::CLICK, "i1", 2));
  EXPECT_TRUE(target.isModified());
}

TEST(PelorinCommitLogTest, MergeAddsCountsAndAppliesSetAndAddRules) {
  PelorinCommitLog request;
  request.addProperties("a", {"x"});
  request.setProperties("s", {"old"});
  request.updateEvent(EventType::CLICK, "i1", 1);
  PelorinCommitLog pending;
  pending.addProperties("a", {"x", "y"});
  pending.setProperties("s", {"new"});
  pending.updateEvent(EventType::CLICK, "i1", 3);
  pending.updateEvent(EventType::VIEW, "i2", 1);
  request.merge(pending);
  EXPECT_EQ(request.getProperty("a")->values(), (Values{"x", "y"}));
  EXPECT_EQ(request.getProperty("s")->values(), Values{"new"});
  EXPECT_EQ(request.getEvent(EventType::CLICK, "i1")->count(), 4);
  EXPECT_EQ(request.getEvent(EventType::VIEW, "i2")->count(), 1);
  EXPECT_TRUE(pending.isEmpty());
}

TEST(PelorinCommitLogTest, LookupsStillWorkAfterMergeClearsTheSource) {
  PelorinCommitLog source;
  source.setProperties("s", {"1"});
  PelorinCommitLog target;
  target.merge(source);
  EXPECT_EQ(source.getProperty("s"), nullptr);
  source.setProperties("s", {"2"});
  EXPECT_EQ(source.getProperty("s")->values(), Values{"2"});
}

TEST(PelorinCommitLogTest, EncodedDocumentHasTheStoredMembers) {
  PelorinCommitLog log;
  log.setProperties("city", {"Utrecht"});
  log.updateEvent(EventType::CONVERSION, "i1", 2);
  EXPECT_EQ(
      log.encode(),
      R"({"_properties":[{"_identifier":"city","_type":"SET","_values":["Utrecht"]}],)"
      R"("_events":[{"_identifier":"i1","_type":"CONVERSION","_count":2}],"_modified":true})");
}

TEST(PelorinCommitLogTest, EncodedLogDecodesToAnEqualLog) {
  PelorinCommitLog log;
  log.addProperties("b", {"x", "x", "\"q\"\\\xc3\xa9"});
  log.setProperties("a", {"1"});
  log.updateEvent(EventType::VIEW, "i", 3);
  log.updateEvent(EventType::CLICK, "i", 1);
  auto decoded = PelorinCommitLog::decode(log.encode());
  ASSERT_TRUE(decoded.ok()) << decoded.error().message;
  EXPECT_EQ(decoded.value(), log);
  EXPECT_EQ(decoded.value().getEvent(EventType::CLICK, "i")->count(), 1);
  EXPECT_EQ(decoded.value().getProperty("a")->values(), Values{"1"});
}

TEST(PelorinCommitLogTest, DecodesHandWrittenDocumentWithExtraMembers) {
  auto decoded = PelorinCommitLog::decode(
      R"({"_modified":false,"extra":1,"_events":[{"_count":5,"_type":"VIEW","_identifier":"x","y":0}],)"
      R"("_properties":[{"_values":[],"_type":"ADD","_identifier":"p"}]})");
  ASSERT_TRUE(decoded.ok()) << decoded.error().message;
  EXPECT_FALSE(decoded.value().isModified());
  EXPECT_EQ(decoded.value().getEvent(EventType::VIEW, "x")->count(), 5);
  EXPECT_EQ(decoded.value().getProperty("p")->values(), Values{});
}

struct BadDocument {
  const char* name;
  const char* text;
};

void PrintTo(const BadDocument& document, std::ostream* out) { *out << document.name; }

class PelorinCommitLogDecodeFailureTest : public ::testing::TestWithParam<BadDocument> {};

TEST_P(PelorinCommitLogDecodeFailureTest, FailsAsAWhole) {
  auto decoded = PelorinCommitLog::decode(GetParam().text);
  EXPECT_FALSE(decoded.ok());
  if (!decoded.ok()) {
    EXPECT_FALSE(decoded.error().message.empty());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Documents, PelorinCommitLogDecodeFailureTest,
    ::testing::Values(
        BadDocument{"Empty", ""}, BadDocument{"Truncated", R"({"_properties":[],"_events":[)"},
        BadDocument{"NotAnObject", "[]"},
        BadDocument{"MissingEvents", R"({"_properties":[],"_modified":true})"},
        BadDocument{"MissingModified", R"({"_properties":[],"_events":[]})"},
        BadDocument{"ModifiedNotBool", R"({"_properties":[],"_events":[],"_modified":1})"},
        BadDocument{"PropertiesNotArray", R"({"_properties":{},"_events":[],"_modified":true})"},
        BadDocument{
            "UnknownOperation",
            R"({"_properties":[{"_identifier":"a","_type":"PUT","_values":[]}],"_events":[],"_modified":true})"},
        BadDocument{
            "ValueNotString",
            R"({"_properties":[{"_identifier":"a","_type":"ADD","_values":[1]}],"_events":[],"_modified":true})"},
        BadDocument{
            "MissingIdentifier",
            R"({"_properties":[{"_type":"ADD","_values":[]}],"_events":[],"_modified":true})"},
        BadDocument{
            "CountNotInteger",
            R"({"_properties":[],"_events":[{"_identifier":"a","_type":"VIEW","_count":1.5}],"_modified":true})"},
        BadDocument{
            "CountIsString",
            R"({"_properties":[],"_events":[{"_identifier":"a","_type":"VIEW","_count":"1"}],"_modified":true})"},
        BadDocument{
            "UnknownEventType",
            R"({"_properties":[],"_events":[{"_identifier":"a","_type":"TAP","_count":1}],"_modified":true})"},
        BadDocument{"NonUtf8Bytes",
                    "{\"_properties\":[{\"_identifier\":\"\xff\",\"_type\":\"ADD\",\"_values\":[]}]"
                    ",\"_events\":[],\"_modified\":true}"}),
    [](const ::testing::TestParamInfo<BadDocument>& info) { return std::string(info.param.name); });

TEST(PelorinCommitLogTest, DecodedDuplicateNamesLaterEntryWins) {
  auto decoded = PelorinCommitLog::decode(
      R"({"_properties":[{"_identifier":"a","_type":"SET","_values":["1"]},)"
      R"({"_identifier":"a","_type":"SET","_values":["2"]}],"_events":[],"_modified":true})");
  ASSERT_TRUE(decoded.ok());
  auto sets = decoded.value().getProperties(OperationType::SET);
  ASSERT_EQ(sets.size(), 1U);
  EXPECT_EQ(sets[0].values(), Values{"2"});
  EXPECT_EQ(decoded.value().getProperty("a")->values(), Values{"1"});  // the first entry
}

}  // namespace
}  // namespace pelorin
