#include "batch_summary.h"

#include <map>
#include <optional>
#include <string_view>
#include <utility>

namespace demo {

std::string join(const std::vector<std::string>& parts, std::string_view separator) {
  std::string text;
  for (const auto& part : parts) {
    if (!text.empty()) text += separator;
    text += part;
  }
  return text;
}

namespace {

using pelorin::JsonRef;
using pelorin::JsonValue;

// "1 segment", "2 segments"; `many` for nouns that do not just take an "s".
std::string plural(std::size_t count, std::string_view one, std::string_view many = "") {
  if (count == 1) return "1 " + std::string(one);
  return std::to_string(count) + " " + (many.empty() ? std::string(one) + "s" : std::string(many));
}

// A long list of names is cut short: the line is there to be read at a glance.
std::string shortList(const std::vector<std::string>& names) {
  constexpr std::size_t kShown = 5;
  if (names.size() <= kShown + 1) return join(names, ", ");
  std::vector<std::string> shown(names.begin(), names.begin() + kShown);
  return join(shown, ", ") + " and " + std::to_string(names.size() - kShown) + " more";
}

// The screen a request is about: the last path element of its referer, "app://<app>/<screen>".
std::string screenOf(const Exchange& exchange) {
  constexpr std::string_view kScheme = "app://";
  const std::string referer = exchange.request.header("referer").value_or("");
  if (!referer.starts_with(kScheme)) return "";
  const auto slash = referer.find('/', kScheme.size());
  return slash == std::string::npos ? "" : referer.substr(slash + 1);
}

std::string describeCommand(JsonRef command, const std::string& screen, BatchSummary& summary) {
  std::string method = command["method"].string();
  // Parameters travel as JSON text inside the command.
  const std::optional<JsonValue> params = JsonValue::parse(command["params"].string());
  const JsonRef p = params ? params->ref() : JsonRef();
  if (method == "setProperties" || method == "addProperties") {
    std::vector<std::string> names;
    for (const auto& [name, values] : p["properties"].members()) {
      names.emplace_back(name);
      summary.propertyNames.emplace(name);
    }
    return method + "(" + shortList(names) + ")";
  }
  if (method == "createEvent") {
    const std::string type = p["type"].at(0).string();
    const std::string interaction = p["interaction"].at(0).string();
    if (!interaction.empty()) return "createEvent(" + type + " on " + interaction + ")";
    summary.askedForInteractions = true;
    return "createEvent(" + type + (screen.empty() ? "" : " on " + screen) + ")";
  }
  return method;
}

std::string describeAnswer(JsonRef answers, BatchSummary& summary) {
  std::vector<std::string> parts;
  for (JsonRef answer : answers.elements()) {
    const std::string id = answer["id"].string();
    if (answer.contains("error")) {
      parts.push_back("error for call " + id + ": " + answer["error"]["message"].string());
      continue;
    }
    JsonRef result = answer["result"];
    if (id == "0") parts.emplace_back(answer.contains("profileId") ? "profile" : "no profile");
    if (id == "3") {
      const auto properties = result["properties"].members();
      for (const auto& [name, values] : properties) summary.propertyNames.emplace(name);
      parts.push_back(properties.empty() ? "properties unchanged"
                                         : plural(properties.size(), "property", "properties"));
    }
    if (id == "4") {
      for (JsonRef interaction : result["interactions"].elements()) {
        summary.interactions.emplace_back(interaction);
      }
      parts.push_back(plural(result["interactions"].size(), "interaction"));
      parts.push_back(plural(result["segments"].size(), "segment"));
    }
  }
  return parts.empty() ? "nothing to report" : join(parts, ", ");
}

}  // namespace

BatchSummary summarise(const Exchange& exchange) {
  BatchSummary summary;
  const std::string screen = screenOf(exchange);
  std::vector<std::string> commands;
  if (auto batch = JsonValue::parse(exchange.request.body)) {
    for (JsonRef command : batch->elements()) {
      commands.push_back(describeCommand(command, screen, summary));
    }
  }
  summary.sent = commands.empty() ? "(a body that is not a batch)" : join(commands, ", ");

  const auto& result = exchange.result;
  if (!result.response) {
    summary.answer = "no answer: " + (result.error ? result.error->toString() : "unknown error");
    return summary;
  }
  const std::string status = std::to_string(result.response->statusCode);
  if (result.response->statusCode != 200) {
    summary.answer = "HTTP " + status;
    return summary;
  }
  std::optional<JsonValue> answers = JsonValue::parse(result.data.value_or(""));
  if (!answers || !answers->ref().isArray()) {
    summary.answer = status + ": a body that is not a batch answer";
    return summary;
  }
  summary.answer = status + ": " + describeAnswer(answers->ref(), summary);
  return summary;
}

std::string describeInFull(const Exchange& exchange) {
  std::string text = exchange.request.method + " " + exchange.request.url + "\n";
  std::optional<JsonValue> batch = JsonValue::parse(exchange.request.body);
  if (batch && batch->isArray()) {
    // Show the commands with their parameters decoded, as a person wants to read them.
    JsonValue commands = JsonValue::array();
    for (JsonRef command : batch->elements()) {
      JsonValue shown(command);
      if (command.isObject() && command["params"].isString()) {
        if (auto decoded = JsonValue::parse(command["params"].stringView())) {
          shown.set("params", std::move(*decoded));
        }
      }
      commands.append(std::move(shown));
    }
    text += commands.toPrettyString() + "\n";
  } else {
    text += exchange.request.body + "\n";
  }
  const auto& result = exchange.result;
  if (result.response) {
    text += "answer " + std::to_string(result.response->statusCode) + ":\n";
    auto answer = JsonValue::parse(result.data.value_or(""));
    text += (answer ? answer->toPrettyString() : result.data.value_or("")) + "\n";
  } else if (result.error) {
    text += "no answer: " + result.error->toString() + "\n";
  }
  return text;
}

}  // namespace demo
