// The rule engine of the behaviour listener: turns listener rules (taps, form submits, the
// screen name, the text of a screen area, the app's own events) into profile changes.
//
// Thread safety: the number helpers are pure.
#ifndef PELORIN_SRC_LISTENERS_RULE_SERVICE_H_
#define PELORIN_SRC_LISTENERS_RULE_SERVICE_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "listeners/event_serivce_base.h"
#include "listeners/profile_change.h"

namespace pelorin {

class RuleService : public EventSerivceBase {
 public:
  static constexpr std::string_view LOG_TAG = "PL_RULESERVICE";

  // --- Number helpers of the "merge" method.

  // `current` plus every value of `newValues`, as numbers, written in the shortest decimal
  // form that reads back as the same double, always with a fractional part: 2 + 3 gives
  // "5.0". Values that are not finite numbers are dropped; nothing when `current` is not
  // one, or the total is not finite. Logs "Merging currentValue <current> with <values>".
  static std::optional<std::string> sum(const std::string& current,
                                        const std::vector<std::string>& newValues);
  // The first value that is not blank, trimmed; "0" when there is none.
  static std::string getFirstNonEmptyValue(const std::optional<std::vector<std::string>>& values);
  // A number written with "." and "," separators in the form `sum` reads: the separator
  // nearer the end is the decimal one ("1.234,5" and "1,234.5" both give "1234.5"); a
  // separator that occurs alone once is decimal ("1,5" gives "1.5"), one that occurs
  // several times is grouping ("1.234.567" gives "1234567").
  static std::string convertToFormattable(std::string_view value);
  // The double read from decimal text (an optional sign, digits, a "." fraction, an
  // exponent); nothing for anything else, and for infinities and NaN.
  static std::optional<double> parseNumber(std::string_view text);
  // `value` in fixed-point notation with the fewest significant digits that read back as
  // the same double, and at least one digit after the point: 5 gives "5.0", 1e-7 gives
  // "0.0000001". "" for infinities and NaN.
  static std::string formatNumber(double value);
};

}  // namespace pelorin

#endif  // PELORIN_SRC_LISTENERS_RULE_SERVICE_H_
