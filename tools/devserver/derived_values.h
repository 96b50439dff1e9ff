// The visible values that the platform derives from the hidden point data the engagement
// and preferred-hour plug-ins add to "_" + a property name: an engagement score, or a
// ranking of interests (or hour slots) by their points.
//
// Thread safety: stateless apart from its options; `derive` may be called from any thread.
#ifndef PELORIN_TOOLS_DEVSERVER_DERIVED_VALUES_H_
#define PELORIN_TOOLS_DEVSERVER_DERIVED_VALUES_H_

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pelorin::devserver {

// Each value of a hidden property is one save of a plug-in, in one of two forms:
//   classic    {"TIME": "<ms>", "<name>": {"p<day>": <points>, ...}, ...}
//              days since 1 January 2012 (the score keeps its points under "k");
//   half-time  {"TIME": "<ms>", "days": <day>, "data": [{"n": "<name>", "p": <points>}, ...]}
//              days since 1 September 2017.
// Points decay with age: a point `age` days older than today weighs 0.5^(age / half-life).
// A point more than kCountedHalfLives half-lives older than the newest day in the data
// weighs less than 2^-20 of a point of that day and no longer counts. Values of any other
// shape are left out.
class DerivedValues {
 public:
  struct Options {
    // Days after which a point counts half; 0 or less: points do not decay.
    double halfLifeDays = 30.0;
    // The current time, whose date is "today". When empty, today is the newest day in
    // the data, which keeps the result independent of the wall clock.
    std::function<std::chrono::system_clock::time_point()> now{};
  };

  explicit DerivedValues(Options options) : _options(std::move(options)) {}

  // The visible values for the values of a hidden property:
  //   - a score, when every value is classic and names only "k": one value, the decayed
  //     sum rounded to a whole number, e.g. {"42"};
  //   - otherwise a ranking: the names by decayed points, highest first, ties by name.
  // Nothing when no value is point data with at least one entry (or the score does not
  // fit in 64 bits): the visible property is then left as it is. The result depends only on
  // the sums of the points that count, per name and day, and on whether they all are
  // classic points of "k".
  std::optional<std::vector<std::string>> derive(const std::vector<std::string>& hidden) const;

  // The values of a hidden property folded, so that they grow with the days of activity,
  // not with the saves: the point data of all values except those in `keep` becomes one
  // value per form and day, holding each name once with the sum of its points that day
  // (TIME kFoldedTime; a sum beyond 64 bits is split over more values), classic values
  // first, then half-time ones, each oldest day first; points that no longer count are
  // dropped. Then come, in their order, the values that are not point data and those in
  // `keep`. `derive` gives the same for the folded values as for `hidden`:
  //   fold({R"({"TIME":"1","k":{"p9":3}})", R"({"TIME":"2","k":{"p9":4}})"}, {})
  //     // {R"({"TIME":"folded","k":{"p9":7}})"}
  std::vector<std::string> fold(const std::vector<std::string>& hidden,
                                const std::vector<std::string>& keep) const;

  // Half-lives, measured back from the newest day in the data, after which a point no
  // longer counts (its weight is then below 2^-20).
  static constexpr double kCountedHalfLives = 20.0;
  // The TIME of a folded value: not a time the plug-ins write, so a folded value never
  // equals one of theirs.
  static constexpr std::string_view kFoldedTime = "folded";

 private:
  Options _options;
};

}  // namespace pelorin::devserver

#endif  // PELORIN_TOOLS_DEVSERVER_DERIVED_VALUES_H_
