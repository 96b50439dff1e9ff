#include "devserver/inspector.h"

#include <algorithm>
#include <ctime>

#include <fmt/format.h>
#include <boost/json.hpp>

#include "devserver/dev_server.h"

namespace pelorin::devserver {
namespace {

namespace json = boost::json;

// "2026-11-25T08:11:16.123Z"
std::string isoTime(std::chrono::system_clock::time_point time) {
  const auto since = time.time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
  const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(since - seconds);
  const std::time_t whole = seconds.count();
  std::tm utc{};
  gmtime_r(&whole, &utc);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", utc.tm_year + 1900,
                     utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                     millis.count());
}

// The JSON in `text`, without the "pl_json(...)" wrapping an answer may have; nothing when
// it is not JSON.
std::optional<json::value> parseJson(std::string_view text) {
  constexpr std::string_view kWrapper = "pl_json(";
  if (text.starts_with(kWrapper) && text.ends_with(")")) {
    text = text.substr(kWrapper.size(), text.size() - kWrapper.size() - 1);
  }
  boost::system::error_code error;
  json::value value = json::parse(text, error);
  if (error) return std::nullopt;
  return value;
}

std::string stringMember(const json::object& object, std::string_view key) {
  const json::value* value = object.if_contains(key);
  const json::string* text = value != nullptr ? value->if_string() : nullptr;
  return text != nullptr ? std::string(*text) : std::string();
}

// The first string of a parameter list such as "type": ["PAGEVIEW"]; "" when there is none.
std::string firstString(const json::object& params, std::string_view key) {
  const json::value* value = params.if_contains(key);
  const json::array* list = value != nullptr ? value->if_array() : nullptr;
  if (list == nullptr || list->empty()) return "";
  const json::string* text = list->front().if_string();
  return text != nullptr ? std::string(*text) : std::string();
}

// A command of a batch, its "params" decoded from the JSON text they are sent as.
struct Command {
  std::string id;
  std::string method;
  std::optional<json::value> params;  // nothing when "params" is not JSON text
  const json::value* raw = nullptr;
};

std::vector<Command> commandsOf(const json::array& batch) {
  std::vector<Command> commands;
  for (const json::value& element : batch) {
    const json::object* object = element.if_object();
    if (object == nullptr) continue;
    Command command{.id = stringMember(*object, "id"),
                    .method = stringMember(*object, "method"),
                    .params = std::nullopt,
                    .raw = &element};
    if (const json::value* params = object->if_contains("params")) {
      if (const json::string* text = params->if_string()) command.params = parseJson(*text);
    }
    commands.push_back(std::move(command));
  }
  return commands;
}

// The element of an answer array that carries `id`.
const json::object* answerFor(const json::value* answer, std::string_view id) {
  const json::array* answers = answer != nullptr ? answer->if_array() : nullptr;
  if (answers == nullptr) return nullptr;
  for (const json::value& element : *answers) {
    const json::object* object = element.if_object();
    if (object != nullptr && stringMember(*object, "id") == id) return object;
  }
  return nullptr;
}

const json::value* resultMember(const json::object* answer, std::string_view key) {
  const json::value* result = answer != nullptr ? answer->if_contains("result") : nullptr;
  const json::object* object = result != nullptr ? result->if_object() : nullptr;
  return object != nullptr ? object->if_contains(key) : nullptr;
}

std::optional<std::string> cookieProfile(std::string_view setCookie) {
  const std::string prefix = std::string(kVisitorCookie) + "=";
  if (!setCookie.starts_with(prefix)) return std::nullopt;
  setCookie.remove_prefix(prefix.size());
  return std::string(setCookie.substr(0, setCookie.find(';')));
}

}  // namespace

Inspector::Inspector(InspectorOptions options) : _options(std::move(options)) {}

Inspector::Body Inspector::keep(std::string_view text) const {
  Body body{.size = text.size(), .text = {}, .cut = text.size() > _options.bodyLimit};
  body.text = body.cut ? text.substr(0, _options.bodyPrefix) : text;
  return body;
}

std::uint64_t Inspector::received(const RecordedRequest& request, const std::string& profileId) {
  if (_options.capacity == 0) return 0;
  Entry entry;
  entry.time = _options.clock ? _options.clock() : std::chrono::system_clock::now();
  entry.method = request.method;
  entry.path = request.path;
  entry.query = request.query;
  entry.headers = request.headers;
  entry.profileId = profileId;
  entry.body = keep(request.body);
  std::lock_guard<std::mutex> lock(_mutex);
  entry.seq = ++_lastSeq;
  entry.version = ++_cursor;
  _entries.push_back(std::move(entry));
  while (_entries.size() > _options.capacity) {
    _entries.pop_front();
    ++_dropped;
  }
  return _lastSeq;
}

void Inspector::answered(std::uint64_t seq, const InspectedAnswer& answer) {
  if (seq == 0) return;
  Body body = keep(answer.body);
  const std::optional<std::string> created =
      answer.setCookie ? cookieProfile(*answer.setCookie) : std::nullopt;
  std::lock_guard<std::mutex> lock(_mutex);
  if (_entries.empty() || seq < _entries.front().seq || seq > _entries.back().seq) return;
  Entry& entry = _entries[seq - _entries.front().seq];
  entry.answered = true;
  entry.status = answer.status;
  entry.fault = std::string(answer.fault);
  entry.answer = std::move(body);
  if (created) entry.profileId = *created;
  entry.version = ++_cursor;
  entry.json.clear();
  noteVisitor(entry);
}

void Inspector::noteVisitor(const Entry& entry) {
  if (entry.profileId.empty()) return;
  Visitor& visitor = _visitors[entry.profileId];
  ++visitor.requests;
  visitor.lastSeen = entry.time;
  if (entry.body.cut) return;
  const std::optional<json::value> batch = parseJson(entry.body.text);
  if (!batch || !batch->is_array()) return;
  const std::optional<json::value> answer =
      entry.answer.cut ? std::nullopt : parseJson(entry.answer.text);
  std::string screen;
  for (const auto& [name, value] : entry.headers) {
    if (name.size() == 7 && std::equal(name.begin(), name.end(), "referer", [](char a, char b) {
          return std::tolower(static_cast<unsigned char>(a)) == b;
        })) {
      screen = RpcService::screenNameFromReferer(value);
      break;
    }
  }
  for (const Command& command : commandsOf(batch->get_array())) {
    if (command.method != "createEvent" || !command.params || !command.params->is_object()) {
      continue;
    }
    const json::object& params = command.params->get_object();
    const std::string type = firstString(params, "type");
    if (const std::string interaction = firstString(params, "interaction"); !interaction.empty()) {
      visitor.events.emplace(interaction, type);
      continue;
    }
    ScreenViews& views = visitor.screens[{type, screen}];
    ++views.count;
    const json::object* result = answerFor(answer ? &*answer : nullptr, command.id);
    if (const json::value* interactions = resultMember(result, "interactions")) {
      views.interactions = json::serialize(*interactions);
    }
    if (const json::value* segments = resultMember(result, "segments")) {
      visitor.segments = json::serialize(*segments);
    }
  }
}

namespace {

// {"size", "truncated", "json"} when the text parses, else {"size", "truncated", "text"}.
json::object bodyJson(std::size_t size, const std::string& text, bool cut) {
  json::object body{{"size", size}, {"truncated", cut}};
  std::optional<json::value> parsed = cut ? std::nullopt : parseJson(text);
  if (parsed) {
    body["json"] = std::move(*parsed);
  } else {
    body["text"] = text;
  }
  return body;
}

}  // namespace

std::string Inspector::entryJson(const Entry& entry) {
  json::array headers;
  for (const auto& [name, value] : entry.headers) headers.push_back(json::array{name, value});
  json::object request{{"seq", entry.seq},
                       {"time", isoTime(entry.time)},
                       {"method", entry.method},
                       {"path", entry.path},
                       {"query", entry.query},
                       {"profileId", entry.profileId},
                       {"headers", std::move(headers)}};
  json::object body = bodyJson(entry.body.size, entry.body.text, entry.body.cut);
  // The commands, with their "params" decoded, so a reader needs no second parse.
  if (const json::value* batch = body.if_contains("json"); batch && batch->is_array()) {
    json::array commands;
    for (const Command& command : commandsOf(batch->get_array())) {
      json::object shown = command.raw->get_object();
      if (command.params) shown["params"] = *command.params;
      commands.push_back(std::move(shown));
    }
    request["commands"] = std::move(commands);
    body.erase("json");
  }
  request["body"] = std::move(body);
  if (entry.answered) {
    json::object answer = bodyJson(entry.answer.size, entry.answer.text, entry.answer.cut);
    answer["status"] = entry.status;
    answer["fault"] = entry.fault;
    request["answer"] = std::move(answer);
  } else {
    request["answer"] = nullptr;
  }
  return json::serialize(request);
}

std::string Inspector::requestsJson(std::uint64_t since) const {
  std::lock_guard<std::mutex> lock(_mutex);
  std::string page =
      fmt::format(R"({{"cursor":{},"capacity":{},"kept":{},"dropped":{},"requests":[)", _cursor,
                  _options.capacity, _entries.size(), _dropped);
  bool first = true;
  for (const Entry& entry : _entries) {
    if (entry.version <= since) continue;
    if (entry.json.empty()) entry.json = entryJson(entry);
    if (!first) page += ',';
    page += entry.json;
    first = false;
  }
  return page + "]}";
}

std::string Inspector::profilesJson(const RpcService& service) const {
  struct Row {
    std::string id;
    std::uint64_t requests = 0;
    std::optional<std::chrono::system_clock::time_point> lastSeen;
  };
  std::map<std::string, Row> rows;
  for (const std::string& id : service.profileIds()) rows[id].id = id;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    for (const auto& [id, visitor] : _visitors) {
      Row& row = rows[id];
      row.id = id;
      row.requests = visitor.requests;
      row.lastSeen = visitor.lastSeen;
    }
  }
  std::vector<Row> ordered;
  ordered.reserve(rows.size());
  for (auto& [id, row] : rows) ordered.push_back(std::move(row));
  std::ranges::stable_sort(ordered,
                           [](const Row& a, const Row& b) { return a.lastSeen > b.lastSeen; });
  json::array profiles;
  for (const Row& row : ordered) {
    const std::optional<Parameters> properties = service.properties(row.id);
    json::object profile{{"id", row.id},
                         {"known", properties.has_value()},
                         {"requests", row.requests},
                         {"properties", properties ? properties->size() : 0}};
    if (row.lastSeen) {
      profile["lastSeen"] = isoTime(*row.lastSeen);
    } else {
      profile["lastSeen"] = nullptr;
    }
    profiles.push_back(std::move(profile));
  }
  return json::serialize(json::object{{"profiles", std::move(profiles)}});
}

std::optional<std::string> Inspector::profileJson(const RpcService& service,
                                                  const std::string& profileId) const {
  std::optional<Visitor> visitor;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    if (auto found = _visitors.find(profileId); found != _visitors.end()) visitor = found->second;
  }
  const std::optional<Parameters> properties = service.properties(profileId);
  if (!visitor && !properties) return std::nullopt;

  json::object profile{{"id", profileId}, {"known", properties.has_value()}};
  json::object shownProperties;
  for (const auto& [name, values] : properties.value_or(Parameters())) {
    json::array list;
    for (const auto& value : values) list.emplace_back(value);
    shownProperties[name] = std::move(list);
  }
  profile["properties"] = std::move(shownProperties);
  json::array events;
  json::array screens;
  if (visitor) {
    for (const auto& [interaction, type] : visitor->events) {
      events.push_back(json::object{{"interaction", interaction},
                                    {"type", type},
                                    {"count", service.eventCount(profileId, interaction, type)}});
    }
    for (const auto& [key, views] : visitor->screens) {
      screens.push_back(json::object{
          {"event", key.first},
          {"screen", key.second},
          {"count", views.count},
          {"interactions", parseJson(views.interactions).value_or(json::value(json::array()))}});
    }
  }
  profile["events"] = std::move(events);
  profile["screens"] = std::move(screens);
  if (visitor && visitor->segments) {
    profile["segments"] = parseJson(*visitor->segments).value_or(json::value(json::array()));
  } else {
    profile["segments"] = nullptr;
  }
  profile["requests"] = visitor ? visitor->requests : 0;
  if (visitor) {
    profile["lastSeen"] = isoTime(visitor->lastSeen);
  } else {
    profile["lastSeen"] = nullptr;
  }
  return json::serialize(profile);
}

}  // namespace pelorin::devserver
