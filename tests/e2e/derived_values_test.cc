// The devserver's visible values derived from hidden point data: the score and ranking
// rules, and their recomputation when property commands write a hidden "_" property.
#include "devserver/derived_values.h"

#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <boost/json.hpp>

#include "devserver/rpc_service.h"
#include "pelorin/json_value.h"

namespace pelorin::devserver {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using Strings = std::vector<std::string>;

// 2024-05-01 13:02:11 UTC: classic day 4504, half-time day 2434.
const std::chrono::system_clock::time_point kMay1st2024 =
    std::chrono::sys_days{std::chrono::year{2024} / 5 / 1} + std::chrono::seconds(46931);

DerivedValues::Options options(double halfLifeDays, bool withClock = false,
                               std::chrono::days later = std::chrono::days(0)) {
  DerivedValues::Options result;
  result.halfLifeDays = halfLifeDays;
  if (withClock) result.now = [later] { return kMay1st2024 + later; };
  return result;
}

std::optional<Strings> derive(const DerivedValues::Options& options, const Strings& hidden) {
  return DerivedValues(options).derive(hidden);
}

// --- Score

TEST(DerivedValuesTest, ScoreIsTheSumOfThePointsOfTheNewestDay) {
  EXPECT_EQ(derive(options(30), {R"({"TIME":"1714568531000","k":{"p4504":5}})",
                                 R"({"TIME":"1714568532000","k":{"p4504":7}})"}),
            Strings{"12"});
}

TEST(DerivedValuesTest, ScorePointsHalveEachHalfLifeBeforeTheNewestDay) {
  // Without a clock the newest day in the data (4511) is today.
  EXPECT_EQ(derive(options(7), {R"({"TIME":"1","k":{"p4504":100}})",
                                R"({"TIME":"2","k":{"p4511":10,"p4497":40}})"}),
            Strings{"70"});
}

TEST(DerivedValuesTest, ScoreDecaysUpToTodayOfTheClock) {
  // Today is day 4504 + 14: both days are older.
  EXPECT_EQ(derive(options(7, true, std::chrono::days(14)),
                   {R"({"TIME":"1","k":{"p4504":100}})", R"({"TIME":"2","k":{"p4511":10}})"}),
            Strings{"30"});
}

TEST(DerivedValuesTest, PointsOfADayAfterTodayCountInFull) {
  EXPECT_EQ(derive(options(7, true), {R"({"TIME":"1","k":{"p4511":10,"p4504":4}})"}),
            Strings{"14"});
}

TEST(DerivedValuesTest, HalfLifeOfZeroDoesNotDecay) {
  EXPECT_EQ(derive(options(0, true, std::chrono::days(700)),
                   {R"({"TIME":"1","k":{"p4504":100}})", R"({"TIME":"2","k":{"p1":10}})"}),
            Strings{"110"});
}

TEST(DerivedValuesTest, ScoreIsRoundedToAWholeNumber) {
  // 5 * 0.5 = 2.5 rounds away from zero; -3 * 0.5 = -1.5 too.
  EXPECT_EQ(derive(options(1), {R"({"TIME":"1","k":{"p10":5,"p11":0}})"}), Strings{"3"});
  EXPECT_EQ(derive(options(1), {R"({"TIME":"1","k":{"p10":-3,"p11":0}})"}), Strings{"-2"});
}

TEST(DerivedValuesTest, ScoreBeyondSixtyFourBitsGivesNothing) {
  EXPECT_EQ(derive(options(30), {R"({"TIME":"1","k":{"p4504":9223372036854775807}})",
                                 R"({"TIME":"2","k":{"p4504":9223372036854775807}})"}),
            std::nullopt);
}

// --- Ranking

TEST(DerivedValuesTest, RankingOrdersInterestsByPointsThenByName) {
  EXPECT_EQ(derive(options(30), {R"({"TIME":"1","days":2434,"data":[{"n":"shoes","p":2},
      {"n":"hats","p":5},{"n":"bags","p":3},{"n":"shoes","p":1},{"n":"caps","p":1}]})"}),
            (Strings{"hats", "bags", "shoes", "caps"}));
}

TEST(DerivedValuesTest, RankingDecaysOldPoints) {
  EXPECT_EQ(derive(options(7), {R"({"TIME":"1","days":100,"data":[{"n":"shoes","p":10}]})",
                                R"({"TIME":"2","days":107,"data":[{"n":"hats","p":6}]})"}),
            (Strings{"hats", "shoes"}));
}

TEST(DerivedValuesTest, ClassicDataWithOtherNamesIsARanking) {
  // The preferred-hour plug-in's slots.
  EXPECT_EQ(derive(options(30), {R"({"TIME":"1","9 AM - 10 AM":{"p4504":1}})",
                                 R"({"TIME":"2","3 PM - 4 PM":{"p4504":1}})",
                                 R"({"TIME":"3","3 PM - 4 PM":{"p4504":1}})"}),
            (Strings{"3 PM - 4 PM", "9 AM - 10 AM"}));
}

TEST(DerivedValuesTest, BothFormsCountDaysOnOneCalendar) {
  // Classic day 4503 is the day before half-time day 2434.
  EXPECT_EQ(derive(options(1), {R"({"TIME":"1","news":{"p4503":4}})",
                                R"({"TIME":"2","days":2434,"data":[{"n":"sports","p":3}]})"}),
            (Strings{"sports", "news"}));
}

// --- Values that are not point data

TEST(DerivedValuesTest, ValuesThatAreNotPointDataAreLeftOut) {
  const Strings others = {"plain text",
                          "[1]",
                          R"({"k":{"p1":1}})",
                          R"({"TIME":1,"k":{"p1":1}})",
                          R"({"TIME":"1","k":{"x1":1}})",
                          R"({"TIME":"1","k":{"p1":1.5}})",
                          R"({"TIME":"1","k":5})",
                          R"({"TIME":"1","days":"3","data":[]})",
                          R"({"TIME":"1","days":3,"data":[{"n":1,"p":1}]})"};
  EXPECT_EQ(derive(options(30), others), std::nullopt);
  Strings mixed = others;
  mixed.push_back(R"({"TIME":"1","k":{"p1":4}})");
  EXPECT_EQ(derive(options(30), mixed), Strings{"4"});
}

TEST(DerivedValuesTest, PointDataWithoutEntriesGivesNothing) {
  EXPECT_EQ(derive(options(30), {R"({"TIME":"1","days":3,"data":[]})", R"({"TIME":"2"})"}),
            std::nullopt);
}

// --- Property commands

// One command of `method` with the parameters {"properties": properties}.
std::string propertiesCommand(std::string_view method, const boost::json::object& properties) {
  boost::json::object command{{"method", method}, {"alt", "json"}, {"id", "1"}};
  command["params"] = boost::json::serialize(boost::json::object{{"properties", properties}});
  return boost::json::serialize(command);
}

class RpcServiceDerivedValuesTest : public ::testing::Test {
 protected:
  explicit RpcServiceDerivedValuesTest(RpcService::Options options = {})
      : _service(std::move(options)), _id(_service.createProfile()) {}

  void send(std::string_view method, const boost::json::object& properties) {
    RpcRequest request;
    request.domainGroup = "DEFAULT";
    request.visitorCookie = _id;
    request.body = "[" + propertiesCommand(method, properties) + "]";
    ASSERT_EQ(_service.handle(request).status, 200);
  }
  Parameters properties() const { return _service.properties(_id).value_or(Parameters()); }

  RpcService _service;
  std::string _id;
};

TEST_F(RpcServiceDerivedValuesTest, AddingScoreDataDerivesTheVisibleScore) {
  send("addProperties",
       {{"_engagement", boost::json::array{R"({"TIME":"1714568531000","k":{"p4504":5}})"}}});
  EXPECT_THAT(
      properties(),
      ElementsAre(Pair("_engagement", ElementsAre(R"({"TIME":"1714568531000","k":{"p4504":5}})")),
                  Pair("engagement", ElementsAre("5"))));

  send("addProperties",
       {{"_engagement", boost::json::array{R"({"TIME":"1714568539000","k":{"p4504":7}})"}}});

  EXPECT_EQ(properties().at("engagement"), Strings{"12"});
}

TEST_F(RpcServiceDerivedValuesTest, SettingRankingDataDerivesTheVisibleRanking) {
  send("setProperties",
       {{"_i42",
         boost::json::array{
             R"({"TIME":"1","days":2434,"data":[{"n":"news","p":1},{"n":"sports","p":4}]})"}}});
  EXPECT_EQ(properties().at("i42"), (Strings{"sports", "news"}));
}

TEST_F(RpcServiceDerivedValuesTest, HiddenValuesThatAreNotPointDataLeaveTheVisiblePropertyAlone) {
  ASSERT_TRUE(_service.setProperty(_id, "engagement", {"manual"}));
  send("addProperties", {{"_engagement", boost::json::array{"not point data"}},
                         {"_", boost::json::array{R"({"TIME":"1","k":{"p1":1}})"}}});
  EXPECT_THAT(properties(), ElementsAre(Pair("_", ElementsAre(R"({"TIME":"1","k":{"p1":1}})")),
                                        Pair("_engagement", ElementsAre("not point data")),
                                        Pair("engagement", ElementsAre("manual"))));
}

TEST_F(RpcServiceDerivedValuesTest, VisiblePropertyIsAnsweredByGetProperties) {
  send("addProperties", {{"_engagement", boost::json::array{R"({"TIME":"1","k":{"p9":3}})"}}});
  RpcRequest request;
  request.domainGroup = "DEFAULT";
  request.visitorCookie = _id;
  request.body = R"([{"method":"getProperties","alt":"json","id":"3","params":"{}"}])";
  EXPECT_EQ(
      _service.handle(request).body,
      R"([{"id":"3","result":{"properties":{"_engagement":["{\"TIME\":\"1\",\"k\":{\"p9\":3}}"],)"
      R"("engagement":["3"]}}}])");
}

class RpcServiceDecayTest : public RpcServiceDerivedValuesTest {
 protected:
  RpcServiceDecayTest()
      : RpcServiceDerivedValuesTest(
            RpcService::Options{.derivedValues = options(7, true, std::chrono::days(7))}) {}
};

TEST_F(RpcServiceDecayTest, ScoreDecaysUpToTheServersToday) {
  send("addProperties", {{"_engagement", boost::json::array{R"({"TIME":"1","k":{"p4504":40}})"}}});
  EXPECT_EQ(properties().at("engagement"), Strings{"20"});
}

}  // namespace
}  // namespace pelorin::devserver
