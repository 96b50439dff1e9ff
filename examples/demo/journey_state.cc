#include "journey_state.h"

#include <cstdint>

namespace demo {

using pelorin::JsonRef;
using pelorin::JsonValue;

std::string JourneyState::encode() const {
  JsonValue object = JsonValue::object({{"nextStep", nextStep}});
  JsonValue names = JsonValue::array();
  for (const auto& name : propertyNames) names.append(name);
  object.set("propertyNames", std::move(names));
  object.set("idleSteps", idleSteps);
  if (scoreInteraction) object.set("scoreInteraction", *scoreInteraction);
  if (rankingInteraction) object.set("rankingInteraction", *rankingInteraction);
  return object.toCompactString();
}

std::optional<JourneyState> JourneyState::decode(std::string_view text) {
  std::optional<JsonValue> value = JsonValue::parse(text);
  if (!value || !value->ref().isObject()) return std::nullopt;
  const JsonRef object = value->ref();
  std::optional<std::int64_t> step = object["nextStep"].asInt();
  if (!step || *step < 1) return std::nullopt;
  JourneyState state;
  state.nextStep = static_cast<int>(*step);
  const auto names = object["propertyNames"].asStringList();
  for (const auto& name : names.value_or(std::vector<std::string>{})) {
    state.propertyNames.insert(name);
  }
  for (JsonRef idle : object["idleSteps"].elements()) {
    if (auto number = idle.asInt()) state.idleSteps.push_back(static_cast<int>(*number));
  }
  if (object["scoreInteraction"].isObject()) {
    state.scoreInteraction = JsonValue(object["scoreInteraction"]);
  }
  if (object["rankingInteraction"].isObject()) {
    state.rankingInteraction = JsonValue(object["rankingInteraction"]);
  }
  return state;
}

std::optional<std::string> interactionParameter(JsonRef interaction, std::string_view id) {
  const std::string locale = interaction["defaultLocale"].string();
  JsonRef entries = interaction["parameters"];
  JsonRef chosen = entries.at(0);
  for (JsonRef entry : entries.elements()) {
    if (entry["locale"].string() == locale) {
      chosen = entry;
      break;
    }
  }
  for (JsonRef parameter : chosen["parameter"].elements()) {
    if (parameter["id"].string() == id) return parameter["value"].at(0).asString();
  }
  return std::nullopt;
}

std::optional<std::string> scorePropertyOf(JsonRef interaction) {
  if (auto rulesText = interactionParameter(interaction, "propertyRules")) {
    std::optional<JsonValue> rules = JsonValue::parse(*rulesText);
    if (rules && rules->ref().isArrayOfObjects()) {
      std::optional<std::string> best;
      std::int64_t bestDecay = 0;
      for (JsonRef rule : rules->ref().elements()) {
        auto property = rule["profileproperty"].asString();
        auto decay = rule["decay"].asInt();
        if (property && decay && *decay > bestDecay) {
          best = property;
          bestDecay = *decay;
        }
      }
      return best;
    }
  }
  if (auto propertyText = interactionParameter(interaction, "property")) {
    if (auto property = JsonValue::parse(*propertyText)) {
      auto name = property->ref().at(0)["profileproperty"].asString();
      if (name && !name->empty()) return name;
    }
  }
  return std::nullopt;
}

}  // namespace demo
