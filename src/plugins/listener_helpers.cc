#include "plugins/listener_helpers.h"

#include <charconv>
#include <chrono>

#include "client/pelorin_configuration.h"
#include "pelorin/json_value.h"
#include "pelorin/platform/platform.h"

namespace pelorin::plugins {
namespace {

constexpr std::string_view kListenerUtilTag = "PL_LISTENER_UTIL";

}  // namespace

std::optional<std::string> getProfilePropertyFromParameters(const Parameters& parameters) {
  auto property = parameters.find("property");
  if (property == parameters.end() || property->second.empty()) return std::nullopt;
  std::string error;
  auto list = JsonValue::parse(property->second.front(), &error);
  if (!list) {
    PelorinConfiguration::log([&] { return "JSON error occurred: " + error; }, kListenerUtilTag,
                              LogFlag::ERROR);
    return std::nullopt;
  }
  // Only a list of objects whose members are all strings is a property description.
  if (!list->isArrayOfObjects() || list->empty()) return std::nullopt;
  for (JsonRef entry : list->elements()) {
    for (const auto& member : entry.members()) {
      if (!member.second.isString()) return std::nullopt;
    }
  }
  auto name = list->at(0).get("profileproperty").asString();
  if (!name || name->empty()) return std::nullopt;
  return name;
}

std::int64_t currentTimeMillis() {
  const auto sinceEpoch = Platform::current().clock().now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count();
}

std::string getCurrentTime() { return std::to_string(currentTimeMillis()); }

std::optional<std::int64_t> parseDecimalInteger(std::string_view text) {
  // from_chars takes a leading "-" but not a "+".
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (!text.empty() && text.front() == '-') return std::nullopt;
  }
  std::int64_t value = 0;
  const char* end = text.data() + text.size();
  auto [next, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || next != end || text.empty()) return std::nullopt;
  return value;
}

}  // namespace pelorin::plugins
