#include "protocol/pelorin_request_command.h"

#include <unordered_map>

#include "json/json_value_access.h"
#include "json/json_writer.h"
#include "json/utf8.h"

namespace pelorin {
namespace {

// Parameters with more keys than this get a hash index; below it a scan is cheaper.
constexpr std::size_t kIndexThreshold = 16;

// The values a parameter contributes once commit entries are flattened: those of a property
// entry, nothing for any other kind.
const std::vector<std::string>* flattenedValues(const RequestParameter& value) {
  const auto* entry = std::get_if<PelorinPropertyCommitEntry>(&value);
  return entry != nullptr ? &entry->values() : nullptr;
}

void appendStrings(std::string& out, const std::vector<std::string>& values) {
  out.push_back('[');
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i != 0) out.push_back(',');
    appendJsonString(out, values[i]);
  }
  out.push_back(']');
}

void appendKey(std::string& out, bool& first, std::string_view key) {
  if (!first) out.push_back(',');
  first = false;
  appendJsonString(out, key);
  out.push_back(':');
}

// Writes a value as the JSON writer would; false for a commit entry, which it refuses.
bool appendParameter(std::string& out, const RequestParameter& value) {
  if (const auto* strings = std::get_if<std::vector<std::string>>(&value)) {
    appendStrings(out, *strings);
    return true;
  }
  if (const auto* json = std::get_if<JsonValue>(&value)) {
    appendJson(out, *rawJson(*json));
    return true;
  }
  return false;
}

// For each name, in order of first appearance, the position of its last entry: a name
// keeps its first place and its last values.
std::vector<std::size_t> winningEntries(const std::vector<PelorinPropertyCommitEntry>& entries) {
  std::vector<std::size_t> winners;
  winners.reserve(entries.size());
  std::unordered_map<std::string_view, std::size_t> slotOf;
  slotOf.reserve(entries.size());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    auto [it, inserted] = slotOf.try_emplace(entries[i].identifier(), winners.size());
    if (inserted) {
      winners.push_back(i);
    } else {
      winners[it->second] = i;
    }
  }
  return winners;
}

std::optional<std::string> checkedUtf8(std::string text) {
  if (!isValidUtf8(text)) return std::nullopt;
  return text;
}

}  // namespace

std::optional<CallId> callIdFromRawValue(std::int64_t rawValue) {
  if (rawValue < 0 || rawValue > static_cast<std::int64_t>(CallId::events)) return std::nullopt;
  return static_cast<CallId>(rawValue);
}

RequestParameters::RequestParameters(std::initializer_list<Entry> entries) {
  for (const auto& [key, value] : entries) set(key, value);
}

RequestParameters RequestParameters::fromEntries(
    const std::vector<PelorinPropertyCommitEntry>& entries) {
  RequestParameters parameters;
  const auto winners = winningEntries(entries);
  parameters._entries.reserve(winners.size());
  for (std::size_t i : winners)
    parameters._entries.emplace_back(entries[i].identifier(), entries[i]);
  return parameters;
}

RequestParameters RequestParameters::fromEntries(
    std::vector<PelorinPropertyCommitEntry>&& entries) {
  RequestParameters parameters;
  const auto winners = winningEntries(entries);
  parameters._entries.reserve(winners.size());
  for (std::size_t i : winners) {
    std::string key = entries[i].identifier();
    parameters._entries.emplace_back(std::move(key), std::move(entries[i]));
  }
  return parameters;
}

void RequestParameters::buildIndex() {
  _index.reserve(_entries.size() * 2);
  for (std::size_t i = 0; i < _entries.size(); ++i) _index.emplace(_entries[i].first, i);
}

void RequestParameters::set(std::string key, RequestParameter value) {
  if (_index.empty() && _entries.size() >= kIndexThreshold) buildIndex();
  if (_index.empty()) {
    for (auto& [existing, stored] : _entries) {
      if (existing == key) {
        stored = std::move(value);
        return;
      }
    }
    _entries.emplace_back(std::move(key), std::move(value));
    return;
  }
  auto [it, inserted] = _index.try_emplace(key, _entries.size());
  if (!inserted) {
    _entries[it->second].second = std::move(value);
    return;
  }
  _entries.emplace_back(std::move(key), std::move(value));
}

const RequestParameter* RequestParameters::find(std::string_view key) const {
  if (!_index.empty()) {
    auto it = _index.find(key);
    return it == _index.end() ? nullptr : &_entries[it->second].second;
  }
  for (const auto& [existing, value] : _entries) {
    if (existing == key) return &value;
  }
  return nullptr;
}

PelorinRequestCommand::PelorinRequestCommand(std::optional<std::string> methodName,
                                             std::int64_t callId,
                                             std::optional<RequestParameters> parameters,
                                             bool complexParameters)
    : _methodName(std::move(methodName)),
      _callId(std::to_string(callId)),
      _parameters(std::move(parameters)),
      _complexParameters(complexParameters) {}

RequestParameters PelorinRequestCommand::getValuesOfEntries(const RequestParameters& parameters) {
  RequestParameters flattened;
  for (const auto& [key, value] : parameters) {
    if (const auto* values = flattenedValues(value)) flattened.set(key, *values);
  }
  return flattened;
}

std::optional<std::string> PelorinRequestCommand::convertDataToJSON(
    const std::optional<RequestParameters>& data) {
  if (!data) return std::nullopt;
  std::string out;
  out.push_back('{');
  bool first = true;
  for (const auto& [key, value] : *data) {
    appendKey(out, first, key);
    if (!appendParameter(out, value)) return std::nullopt;
  }
  out.push_back('}');
  return checkedUtf8(std::move(out));
}

std::optional<std::string> PelorinRequestCommand::convertDataToJSON(
    const std::optional<JsonValue>& data) {
  if (!data || !data->isObject()) return std::nullopt;
  std::string out;
  appendJson(out, *rawJson(*data));
  return checkedUtf8(std::move(out));
}

std::string PelorinRequestCommand::toJson() const {
  std::optional<std::string> params;
  if (_parameters && _complexParameters) {
    // {"properties": getValuesOfEntries(parameters)}, written without the intermediate copy.
    std::size_t estimate = 32;
    for (const auto& [key, value] : *_parameters) {
      estimate += key.size() + 6;
      if (const auto* values = flattenedValues(value)) {
        for (const auto& text : *values) estimate += text.size() + 3;
      }
    }
    std::string out;
    out.reserve(estimate + estimate / 8);
    out += "{\"properties\":{";
    bool first = true;
    for (const auto& [key, value] : *_parameters) {
      const auto* values = flattenedValues(value);
      if (values == nullptr) continue;
      appendKey(out, first, key);
      appendStrings(out, *values);
    }
    out += "}}";
    params = checkedUtf8(std::move(out));
  } else if (_parameters) {
    params = convertDataToJSON(_parameters);
  }

  if (_methodName && !isValidUtf8(*_methodName)) return "";
  std::string out;
  out.reserve(48 + (_methodName ? _methodName->size() : 0) +
              (params ? params->size() + params->size() / 4 : 0));
  out.push_back('{');
  bool first = true;
  if (_methodName) {
    appendKey(out, first, "method");
    appendJsonString(out, *_methodName);
  }
  appendKey(out, first, "alt");
  out += "\"json\"";
  if (_callId) {
    appendKey(out, first, "id");
    appendJsonString(out, *_callId);
  }
  if (params) {
    // The parameters travel as JSON text inside a JSON string: encoded twice.
    appendKey(out, first, "params");
    appendJsonString(out, *params);
  }
  out.push_back('}');
  return out;
}

}  // namespace pelorin
