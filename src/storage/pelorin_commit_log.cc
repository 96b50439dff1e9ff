#include "storage/pelorin_commit_log.h"

#include <algorithm>
#include <limits>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include "config/pelorin_configuration.h"
#include "json/json_value_access.h"

namespace pelorin {
namespace {

constexpr std::string_view kLogTag = "PL_DATA_MANAGER";

boost::json::string_view bj(std::string_view s) { return {s.data(), s.size()}; }

Error missing(std::string_view where, std::string_view member) {
  return Error{std::string(where) + ": missing or mistyped member \"" + std::string(member) + "\""};
}

}  // namespace

std::string_view toString(OperationType type) { return type == OperationType::ADD ? "ADD" : "SET"; }

std::string_view toString(EventType type) {
  switch (type) {
    case EventType::CLICK:
      return "CLICK";
    case EventType::VIEW:
      return "VIEW";
    case EventType::CONVERSION:
      return "CONVERSION";
  }
  return "CLICK";
}

std::optional<OperationType> operationTypeFromString(std::string_view text) {
  if (text == "ADD") return OperationType::ADD;
  if (text == "SET") return OperationType::SET;
  return std::nullopt;
}

std::optional<EventType> eventTypeFromString(std::string_view text) {
  if (text == "CLICK") return EventType::CLICK;
  if (text == "VIEW") return EventType::VIEW;
  if (text == "CONVERSION") return EventType::CONVERSION;
  return std::nullopt;
}

std::string PelorinCommitLog::eventKey(EventType type, std::string_view interactionId) {
  std::string key;
  key.reserve(interactionId.size() + 1);
  key.push_back(static_cast<char>('0' + static_cast<int>(type)));
  key.append(interactionId);
  return key;
}

void PelorinCommitLog::appendProperty(OperationType type, std::string_view name,
                                      std::vector<std::string> values) {
  _propertyIndex.try_emplace(std::string(name), _properties.size());
  _properties.emplace_back(type, std::string(name), std::move(values));
}

void PelorinCommitLog::appendEvent(EventType type, std::string_view interactionId,
                                   std::int64_t count) {
  _eventIndex.try_emplace(eventKey(type, interactionId), _events.size());
  _events.emplace_back(type, std::string(interactionId), count);
}

void PelorinCommitLog::setProperties(std::string_view name,
                                     const std::vector<std::string>& values) {
  if (name.empty() || values.empty()) return;
  if (auto it = _propertyIndex.find(name); it != _propertyIndex.end()) {
    // The entry keeps its type: a set after an add stays an ADD entry with the new values.
    _properties.mutableAt(it->second)._values = values;
  } else {
    appendProperty(OperationType::SET, name, values);
  }
  _modified = true;
}

void PelorinCommitLog::setProperty(std::string_view name, const std::string& value) {
  if (name.empty()) return;
  if (auto it = _propertyIndex.find(name); it != _propertyIndex.end()) {
    // In the entry's own storage: setting a property again allocates nothing.
    _properties.mutableAt(it->second)._values.assign(1, value);
  } else {
    appendProperty(OperationType::SET, name, {value});
  }
  _modified = true;
}

void PelorinCommitLog::addProperties(std::string_view name,
                                     const std::vector<std::string>& values) {
  if (name.empty() || values.empty()) return;
  if (auto it = _propertyIndex.find(name); it != _propertyIndex.end()) {
    auto& stored = _properties.mutableAt(it->second)._values;
    for (const auto& value : values) {
      if (std::find(stored.begin(), stored.end(), value) == stored.end()) stored.push_back(value);
    }
  } else {
    appendProperty(OperationType::ADD, name, values);
  }
  _modified = true;
}

void PelorinCommitLog::updateEvent(EventType type, std::string_view interactionId,
                                   std::int64_t amount) {
  if (auto it = _eventIndex.find(eventKey(type, interactionId)); it != _eventIndex.end()) {
    std::int64_t& count = _events.mutableAt(it->second)._count;
    std::int64_t sum = 0;
    if (__builtin_add_overflow(count, amount, &sum)) {
      // Counts can come from a stored file; an overflow keeps the largest representable count.
      PelorinConfiguration::log(
          "Event count overflow for interaction " + std::string(interactionId), kLogTag,
          LogFlag::WARNING);
      sum = amount > 0 ? std::numeric_limits<std::int64_t>::max()
                       : std::numeric_limits<std::int64_t>::min();
    }
    count = sum;
  } else {
    appendEvent(type, interactionId, amount >= 2 ? amount : 1);
  }
}

std::vector<PelorinPropertyCommitEntry> PelorinCommitLog::getProperties(OperationType type) const {
  std::vector<PelorinPropertyCommitEntry> result;
  for (const auto& entry : _properties) {
    if (entry.type() == type) result.push_back(entry);
  }
  if (_propertyIndex.size() != _properties.size()) {
    // Only a decoded file can hold a name twice; the later entry wins, at its first place.
    StringMap<std::size_t> position;
    std::vector<PelorinPropertyCommitEntry> unique;
    for (auto& entry : result) {
      auto [it, inserted] = position.try_emplace(entry.identifier(), unique.size());
      if (inserted) {
        unique.push_back(std::move(entry));
      } else {
        unique[it->second] = std::move(entry);
      }
    }
    result = std::move(unique);
  }
  return result;
}

const PelorinPropertyCommitEntry* PelorinCommitLog::getProperty(std::string_view name) const {
  if (name.empty()) return nullptr;
  auto it = _propertyIndex.find(name);
  return it == _propertyIndex.end() ? nullptr : &_properties[it->second];
}

const PelorinEventCommitEntry* PelorinCommitLog::getEvent(EventType type,
                                                          std::string_view interactionId) const {
  auto it = _eventIndex.find(eventKey(type, interactionId));
  return it == _eventIndex.end() ? nullptr : &_events[it->second];
}

void PelorinCommitLog::merge(PelorinCommitLog& other) {
  if (other.isEmpty()) return;
  for (const auto& event : other._events) {
    updateEvent(event.type(), event.identifier(), event.count());
  }
  for (const auto& property : other._properties) {
    if (property.type() == OperationType::SET) {
      setProperties(property.identifier(), property.values());
    } else {
      addProperties(property.identifier(), property.values());
    }
  }
  other.clearEntries();
}

void PelorinCommitLog::clearEntries() {
  _properties.clear();
  _events.clear();
  _propertyIndex.clear();
  _eventIndex.clear();
}

namespace {

JsonValue storedForm(const ChunkedVector<PelorinPropertyCommitEntry>& propertyEntries,
                     const ChunkedVector<PelorinEventCommitEntry>& eventEntries, bool modified) {
  boost::json::array properties;
  properties.reserve(propertyEntries.size());
  for (const auto& entry : propertyEntries) {
    boost::json::array values;
    values.reserve(entry.values().size());
    for (const auto& value : entry.values()) values.emplace_back(bj(value));
    properties.emplace_back(boost::json::object{{"_identifier", bj(entry.identifier())},
                                                {"_type", bj(toString(entry.type()))},
                                                {"_values", std::move(values)}});
  }
  boost::json::array events;
  events.reserve(eventEntries.size());
  for (const auto& entry : eventEntries) {
    events.emplace_back(boost::json::object{{"_identifier", bj(entry.identifier())},
                                            {"_type", bj(toString(entry.type()))},
                                            {"_count", entry.count()}});
  }
  return toJsonValue(boost::json::object{{"_properties", std::move(properties)},
                                         {"_events", std::move(events)},
                                         {"_modified", modified}});
}

}  // namespace

JsonValue PelorinCommitLog::toJson() const { return storedForm(_properties, _events, _modified); }

std::string PelorinCommitLog::encode() const { return toJson().toCompactString(); }

JsonValue PelorinCommitLogSnapshot::toJson() const {
  return storedForm(properties, events, modified);
}

std::string PelorinCommitLogSnapshot::encode() const { return toJson().toCompactString(); }

Result<PelorinCommitLog> PelorinCommitLog::fromJson(JsonRef document) {
  if (!document.isObject()) return Error{"commit log: the document is not an object"};
  JsonRef properties = document["_properties"];
  JsonRef events = document["_events"];
  auto modified = document["_modified"].asBool();
  if (!properties.isArray()) return missing("commit log", "_properties");
  if (!events.isArray()) return missing("commit log", "_events");
  if (!modified) return missing("commit log", "_modified");

  PelorinCommitLog log;
  log._modified = *modified;
  log._properties.reserve(properties.size());
  for (JsonRef entry : properties.elements()) {
    auto identifier = entry["_identifier"].asString();
    auto type = operationTypeFromString(entry["_type"].stringView());
    auto values = entry["_values"].asStringList();
    if (!identifier) return missing("property entry", "_identifier");
    if (!entry["_type"].isString() || !type) return missing("property entry", "_type");
    if (!values) return missing("property entry", "_values");
    log.appendProperty(*type, *identifier, std::move(*values));
  }
  log._events.reserve(events.size());
  for (JsonRef entry : events.elements()) {
    auto identifier = entry["_identifier"].asString();
    auto type = eventTypeFromString(entry["_type"].stringView());
    auto count = entry["_count"].asInt();
    if (!identifier) return missing("event entry", "_identifier");
    if (!entry["_type"].isString() || !type) return missing("event entry", "_type");
    if (!count) return missing("event entry", "_count");
    log.appendEvent(*type, *identifier, *count);
  }
  return log;
}

Result<PelorinCommitLog> PelorinCommitLog::decode(std::string_view text) {
  std::string error;
  auto document = JsonValue::parse(text, &error);
  if (!document) return Error{"commit log: " + error};
  return fromJson(document->ref());
}

}  // namespace pelorin
