#include "devserver/config_screen_content.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include <boost/json.hpp>

#include "json/json_value_access.h"

namespace pelorin::devserver {
namespace {

namespace json = boost::json;

Error at(const std::string& path, std::string_view message) {
  return Error{path + ": " + std::string(message)};
}

// The first member of `object` not named in `known`, if any.
std::optional<std::string> unknownMember(JsonRef object,
                                         std::initializer_list<std::string_view> known) {
  for (const auto& [name, value] : object.members()) {
    if (std::find(known.begin(), known.end(), name) == known.end()) return std::string(name);
  }
  return std::nullopt;
}

void append(json::array& to, const JsonValue& list) {
  if (const auto* array = rawJson(list)->if_array()) {
    for (const auto& element : *array) to.push_back(element);
  }
}

}  // namespace

Result<std::unique_ptr<ConfigScreenContent>> ConfigScreenContent::fromFile(
    const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return Error{path + ": cannot be read"};
  std::stringstream text;
  text << in.rdbuf();
  std::string parseError;
  auto config = JsonValue::parse(text.str(), &parseError);
  if (!config) return Error{path + ": not JSON: " + parseError};
  auto content = fromJson(config->ref());
  if (!content) return Error{path + ": " + content.error().message};
  return content;
}

Result<std::unique_ptr<ConfigScreenContent>> ConfigScreenContent::fromJson(JsonRef config) {
  if (!config.isObject()) return Error{"the configuration must be a JSON object"};
  if (auto name = unknownMember(config, {"screens", "events", "segments", "connections"})) {
    return at(*name,
              R"(unknown member; expected "screens", "events", "segments" or "connections")");
  }
  std::unique_ptr<ConfigScreenContent> content(new ConfigScreenContent());
  if (auto error = readInteractions(config["screens"], "screens", content->_screens)) {
    return *error;
  }
  if (auto error = readInteractions(config["events"], "events", content->_events)) return *error;

  if (JsonRef segments = config["segments"]; segments.exists()) {
    if (!segments.isArray()) return at("segments", "must be an array");
    for (std::size_t i = 0; i < segments.size(); ++i) {
      auto segment = readSegment(segments[i], "segments[" + std::to_string(i) + "]");
      if (!segment) return segment.error();
      content->_segments.push_back(std::move(segment).value());
    }
  }

  if (JsonRef connections = config["connections"]; connections.exists()) {
    if (!connections.isArray()) return at("connections", "must be an array");
    for (std::size_t i = 0; i < connections.size(); ++i) {
      if (!connections[i].isObject()) {
        return at("connections[" + std::to_string(i) + "]", "a connection must be an object");
      }
    }
    content->_connections = JsonValue(connections);
  }
  return content;
}

std::optional<Error> ConfigScreenContent::readInteractions(
    JsonRef lists, const std::string& path, std::map<std::string, JsonValue, std::less<>>& out) {
  if (!lists.exists()) return std::nullopt;
  if (!lists.isObject()) return at(path, "must be an object of interaction lists");
  for (const auto& [name, list] : lists.members()) {
    const std::string listPath = path + "." + std::string(name);
    if (!list.isArray()) return at(listPath, "must be an array of interactions");
    for (std::size_t i = 0; i < list.size(); ++i) {
      if (!list[i].isObject()) {
        return at(listPath + "[" + std::to_string(i) + "]", "an interaction must be an object");
      }
    }
    // A name given twice: the later list wins, as for any JSON object read twice.
    out.insert_or_assign(std::string(name), JsonValue(list));
  }
  return std::nullopt;
}

Result<ConfigScreenContent::Segment> ConfigScreenContent::readSegment(JsonRef segment,
                                                                      const std::string& path) {
  if (!segment.isObject()) return at(path, "a segment must be an object");
  if (auto name = unknownMember(segment, {"id", "name", "when"})) {
    return at(path + "." + *name, R"(unknown member; expected "id", "name" or "when")");
  }
  Segment result;
  if (!segment["id"].isString()) return at(path + ".id", "must be a string");
  if (!segment["name"].isString()) return at(path + ".name", "must be a string");
  result.id = segment["id"].string();
  result.name = segment["name"].string();
  JsonRef when = segment["when"];
  if (!when.exists()) return result;
  if (when.isObject()) {
    auto rule = readRule(when, path + ".when");
    if (!rule) return rule.error();
    result.rules.push_back(std::move(rule).value());
    return result;
  }
  if (!when.isArray()) return at(path + ".when", "must be a rule or an array of rules");
  for (std::size_t i = 0; i < when.size(); ++i) {
    auto rule = readRule(when[i], path + ".when[" + std::to_string(i) + "]");
    if (!rule) return rule.error();
    result.rules.push_back(std::move(rule).value());
  }
  return result;
}

Result<ConfigScreenContent::Rule> ConfigScreenContent::readRule(JsonRef rule,
                                                                const std::string& path) {
  if (!rule.isObject()) return at(path, "a rule must be an object");
  if (auto name = unknownMember(rule, {"property", "equals", "contains", "exists"})) {
    return at(path + "." + *name,
              R"(unknown member; expected "property" and one of "equals", "contains", "exists")");
  }
  if (rule["property"].stringView().empty()) {
    return at(path + ".property", "must be a non-empty string");
  }
  Rule result;
  result.property = rule["property"].string();
  const int tests = static_cast<int>(rule.contains("equals")) +
                    static_cast<int>(rule.contains("contains")) +
                    static_cast<int>(rule.contains("exists"));
  if (tests != 1) return at(path, R"(needs exactly one of "equals", "contains", "exists")");
  if (rule.contains("exists")) {
    if (!rule["exists"].isBool()) return at(path + ".exists", "must be true or false");
    result.kind = Rule::Kind::kExists;
    result.exists = rule["exists"].boolean();
    return result;
  }
  const bool equals = rule.contains("equals");
  const std::string member = equals ? "equals" : "contains";
  if (!rule[member].isString()) return at(path + "." + member, "must be a string");
  result.kind = equals ? Rule::Kind::kEquals : Rule::Kind::kContains;
  result.text = rule[member].string();
  return result;
}

bool ConfigScreenContent::Rule::holds(const Parameters& properties) const {
  auto found = properties.find(property);
  const std::vector<std::string> none;
  const std::vector<std::string>& values = found == properties.end() ? none : found->second;
  switch (kind) {
    case Kind::kExists:
      return values.empty() != exists;
    case Kind::kEquals:
      return std::ranges::find(values, text) != values.end();
    case Kind::kContains:
      return std::ranges::any_of(
          values, [&](const std::string& value) { return value.find(text) != std::string::npos; });
  }
  return false;
}

JsonValue ConfigScreenContent::resultFor(const PageView& pageView) const {
  json::array interactions;
  if (pageView.eventType == "PAGEVIEW") {
    if (auto screen = _screens.find(pageView.screenName); screen != _screens.end()) {
      append(interactions, screen->second);
    }
  }
  if (auto event = _events.find(pageView.eventType); event != _events.end()) {
    append(interactions, event->second);
  }
  json::array segments;
  for (const Segment& segment : _segments) {
    const bool member = std::ranges::all_of(
        segment.rules, [&](const Rule& rule) { return rule.holds(pageView.properties); });
    if (member) segments.push_back(json::object{{"id", segment.id}, {"name", segment.name}});
  }
  json::object result;
  result["interactions"] = std::move(interactions);
  result["segments"] = std::move(segments);
  result["connections"] = *rawJson(_connections);
  return toJsonValue(std::move(result));
}

}  // namespace pelorin::devserver
