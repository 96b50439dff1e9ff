// The devserver's visible values derived from hidden point data: the score and ranking
// rules, and their recomputation when property commands write a hidden "_" property.
#include "devserver/derived_values.h"
#include "json/json_value_access.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <random>
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

// --- Folding

TEST(DerivedValuesFoldTest, FoldsTheValuesOfADayIntoOnePerForm) {
  const DerivedValues values(options(30));
  EXPECT_EQ(
      values.fold({R"({"TIME":"1","k":{"p4504":5}})", R"({"TIME":"2","k":{"p4504":7,"p4503":1}})",
                   R"({"TIME":"3","days":2434,"data":[{"n":"shoes","p":2},{"n":"hats","p":1}]})",
                   R"({"TIME":"4","days":2434,"data":[{"n":"shoes","p":3}]})", "not point data"},
                  {}),
      (Strings{R"({"TIME":"folded","k":{"p4503":1}})", R"({"TIME":"folded","k":{"p4504":12}})",
               R"({"TIME":"folded","days":2434,"data":[{"n":"hats","p":1},{"n":"shoes","p":5}]})",
               "not point data"}));
}

TEST(DerivedValuesFoldTest, KeepsTheValuesItIsToldToKeep) {
  const DerivedValues values(options(30));
  EXPECT_EQ(values.fold({R"({"TIME":"1","k":{"p4504":5}})", R"({"TIME":"2","k":{"p4504":7}})",
                         R"({"TIME":"3","k":{"p4504":1}})"},
                        {R"({"TIME":"3","k":{"p4504":1}})"}),
            (Strings{R"({"TIME":"folded","k":{"p4504":12}})", R"({"TIME":"3","k":{"p4504":1}})"}));
}

TEST(DerivedValuesFoldTest, DropsDaysMoreThanTwentyHalfLivesBeforeTheNewest) {
  // Half-life 2 days: day 4504 - 40 still counts (2^-20 of a point), 4504 - 41 does not.
  EXPECT_EQ(
      DerivedValues(options(2))
          .fold({R"({"TIME":"1","k":{"p4463":5,"p4464":6}})", R"({"TIME":"2","k":{"p4504":1}})"},
                {}),
      (Strings{R"({"TIME":"folded","k":{"p4464":6}})", R"({"TIME":"folded","k":{"p4504":1}})"}));
  // Without decay nothing is dropped.
  EXPECT_EQ(
      DerivedValues(options(0))
          .fold({R"({"TIME":"1","k":{"p4463":5}})", R"({"TIME":"2","k":{"p4504":1}})"}, {}),
      (Strings{R"({"TIME":"folded","k":{"p4463":5}})", R"({"TIME":"folded","k":{"p4504":1}})"}));
}

TEST(DerivedValuesFoldTest, SplitsASumBeyondSixtyFourBits) {
  // Classic day 2075 is half-time day 5.
  EXPECT_EQ(
      DerivedValues(options(30))
          .fold({R"({"TIME":"1","k":{"p2075":9223372036854775807}})",
                 R"({"TIME":"2","k":{"p2075":2},"a":{"p2075":1}})",
                 R"({"TIME":"3","days":5,"data":[{"n":"x","p":-9223372036854775808}]})",
                 R"({"TIME":"4","days":5,"data":[{"n":"x","p":-1}]})"},
                {}),
      (Strings{
          R"({"TIME":"folded","a":{"p2075":1},"k":{"p2075":9223372036854775807}})",
          R"({"TIME":"folded","k":{"p2075":2}})",
          R"({"TIME":"folded","days":5,"data":[{"n":"x","p":-9223372036854775808},{"n":"x","p":-1}]})"}));
}

TEST(DerivedValuesTest, PointsMoreThanTwentyHalfLivesBeforeTheNewestDayDoNotCount) {
  // The name whose points are all that old is not ranked.
  EXPECT_EQ(derive(options(1), {R"({"TIME":"1","days":100,"data":[{"n":"old","p":1000000}]})",
                                R"({"TIME":"2","days":121,"data":[{"n":"new","p":1}]})"}),
            Strings{"new"});
  EXPECT_EQ(derive(options(1), {R"({"TIME":"1","days":101,"data":[{"n":"old","p":1000000}]})",
                                R"({"TIME":"2","days":121,"data":[{"n":"new","p":1}]})"}),
            (Strings{"new", "old"}));
}

// Random point data of both forms, some of it old, some not point data at all, arriving in
// random commands: after each command the folded values derive exactly what all values
// ever added derive.
class FoldPropertyTest : public ::testing::TestWithParam<int> {};

std::string randomValue(std::mt19937& random, int time) {
  static const std::vector<std::string> kNames = {"k", "shoes", "hats", "9 AM - 10 AM"};
  const auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
  // Days over 150 days, so that with short half-lives some drop out.
  const auto day = [&] { return 4400 + pick(150); };
  const auto points = [&]() -> std::int64_t {
    switch (pick(8)) {
      case 0:
        return std::numeric_limits<std::int64_t>::max() - pick(3);
      case 1:
        return std::numeric_limits<std::int64_t>::min() + pick(3);
      case 2:
        return -pick(20);
      default:
        return pick(30);
    }
  };
  // Mostly scores: a run of "k" only stays a score until another name or form comes.
  const auto name = [&] { return pick(3) == 0 ? kNames[pick(4)] : std::string("k"); };
  switch (pick(10)) {
    case 0:
      return "not point data " + std::to_string(pick(3));
    case 1:
    case 2: {
      boost::json::array data;
      for (int i = pick(4); i > 0; --i)
        data.push_back(boost::json::object{{"n", name()}, {"p", points()}});
      return boost::json::serialize(boost::json::object{
          {"TIME", std::to_string(time)}, {"days", day() - 2070}, {"data", std::move(data)}});
    }
    default: {
      boost::json::object value{{"TIME", std::to_string(time)}};
      for (int i = 1 + pick(2); i > 0; --i) {
        boost::json::object days;
        for (int j = 1 + pick(3); j > 0; --j) days["p" + std::to_string(day())] = points();
        value[name()] = std::move(days);
      }
      return boost::json::serialize(value);
    }
  }
}

TEST_P(FoldPropertyTest, FoldedValuesDeriveWhatAllValuesDerive) {
  std::mt19937 random(static_cast<std::uint32_t>(GetParam()));
  const auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
  const std::vector<double> halfLives = {0, 0.5, 1, 7, 30};
  const DerivedValues::Options chosen = options(halfLives[static_cast<std::size_t>(pick(5))],
                                                pick(2) == 0, std::chrono::days(pick(200) - 100));
  const DerivedValues values(chosen);
  Strings all;       // what a server that does not fold keeps
  Strings folded;    // what the server keeps
  Strings previous;  // the values of the command before
  int time = 0;
  for (int command = 0; command < 40; ++command) {
    Strings carried;
    for (int i = 1 + pick(4); i > 0; --i) {
      // Now and then a value of the command before comes again, as when the client sends a
      // batch again after losing its answer.
      carried.push_back(
          !previous.empty() && pick(5) == 0
              ? previous[static_cast<std::size_t>(pick(static_cast<int>(previous.size())))]
              : randomValue(random, ++time));
    }
    for (const std::string& value : carried) {
      if (std::ranges::find(all, value) == all.end()) all.push_back(value);
      if (std::ranges::find(folded, value) == folded.end()) folded.push_back(value);
    }
    folded = values.fold(folded, carried);
    previous = carried;
    ASSERT_EQ(values.derive(folded), values.derive(all))
        << "seed " << GetParam() << ", command " << command;
  }
}

INSTANTIATE_TEST_SUITE_P(RandomPointData, FoldPropertyTest, ::testing::Range(1, 41));

TEST(DerivedValuesTest, ModeDependsOnlyOnThePointsThatCount) {
  // A half-time value without entries, or half-time points too old to count, leave a score.
  EXPECT_EQ(derive(options(30),
                   {R"({"TIME":"1","k":{"p4504":4}})", R"({"TIME":"2","days":2434,"data":[]})"}),
            Strings{"4"});
  EXPECT_EQ(derive(options(1), {R"({"TIME":"1","k":{"p4504":4}})",
                                R"({"TIME":"2","days":2400,"data":[{"n":"k","p":1}]})"}),
            Strings{"4"});
  EXPECT_EQ(derive(options(1), {R"({"TIME":"1","k":{"p4504":4}})",
                                R"({"TIME":"2","days":2434,"data":[{"n":"k","p":1}]})"}),
            Strings{"k"});
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

TEST_F(RpcServiceDerivedValuesTest, HiddenPropertyHoldsOneFoldedValuePerDayAndTheLastAdd) {
  for (int save = 1; save <= 50; ++save) {
    const std::string value =
        R"({"TIME":")" + std::to_string(1714568531000 + save) + R"(","k":{"p4504":2}})";
    send("addProperties", {{"_engagement", boost::json::array{value.c_str()}}});
  }
  EXPECT_THAT(
      properties(),
      ElementsAre(Pair("_engagement", ElementsAre(R"({"TIME":"folded","k":{"p4504":98}})",
                                                  R"({"TIME":"1714568531050","k":{"p4504":2}})")),
                  Pair("engagement", ElementsAre("100"))));
}

TEST_F(RpcServiceDerivedValuesTest, AnAddSentAgainAfterALostAnswerCountsOnce) {
  send("addProperties", {{"_engagement", boost::json::array{R"({"TIME":"1","k":{"p4504":5}})"}}});
  send("addProperties", {{"_engagement", boost::json::array{R"({"TIME":"2","k":{"p4504":7}})"}}});
  // The client did not hear the answer and sends the same values again, with a new one.
  send("addProperties", {{"_engagement", boost::json::array{R"({"TIME":"2","k":{"p4504":7}})",
                                                            R"({"TIME":"3","k":{"p4504":1}})"}}});
  EXPECT_EQ(properties().at("engagement"), Strings{"13"});
  EXPECT_THAT(properties().at("_engagement"),
              ElementsAre(R"({"TIME":"folded","k":{"p4504":5}})", R"({"TIME":"2","k":{"p4504":7}})",
                          R"({"TIME":"3","k":{"p4504":1}})"));
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
