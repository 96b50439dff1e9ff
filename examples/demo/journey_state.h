// What the journey carries from one step to the next, and across the restart of the app:
// the step to run next, the property names seen so far (the app reads the profile by
// name), the steps that had nothing to act on, and the engagement interactions whose
// derived values the end of the journey reports.
//
// Thread safety: a value type.
#ifndef PELORIN_EXAMPLES_DEMO_JOURNEY_STATE_H_
#define PELORIN_EXAMPLES_DEMO_JOURNEY_STATE_H_

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "pelorin/json_value.h"

namespace demo {

struct JourneyState {
  int nextStep = 1;
  std::set<std::string> propertyNames;
  std::vector<int> idleSteps;
  std::optional<pelorin::JsonValue> scoreInteraction;
  std::optional<pelorin::JsonValue> rankingInteraction;

  // Compact JSON text, handed to the restarted app on its command line.
  std::string encode() const;
  // Nothing when `text` is not what encode() writes.
  static std::optional<JourneyState> decode(std::string_view text);
};

// The first string of an interaction's parameter `id`, taken from the entry of its
// "defaultLocale" (else the first entry), as the library would hand it to the plug-in.
std::optional<std::string> interactionParameter(pelorin::JsonRef interaction, std::string_view id);

// The visible property of an engagement score interaction: the "propertyRules" entry with
// the highest decay above 0 (the earliest on a tie), else the first "profileproperty" of the
// "property" parameter.
std::optional<std::string> scorePropertyOf(pelorin::JsonRef interaction);

}  // namespace demo

#endif  // PELORIN_EXAMPLES_DEMO_JOURNEY_STATE_H_
