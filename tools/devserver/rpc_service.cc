#include "devserver/rpc_service.h"

#include <algorithm>
#include <random>

#include <fmt/format.h>
#include <boost/json.hpp>

#include "json/json_value_access.h"
#include "protocol/profile_hash.h"

namespace pelorin::devserver {
namespace {

namespace json = boost::json;

// The first string of a parameter list such as "type": ["PAGEVIEW"]; "" when there is none.
std::string firstString(const JsonRef& list) { return list.at(0).string(); }

json::object emptyLists() {
  return json::object{
      {"interactions", json::array()}, {"segments", json::array()}, {"connections", json::array()}};
}

// {"id": id} followed by the members of `members` (an object).
JsonValue idAnd(const std::string& id, const JsonValue& members) {
  json::object answer;
  answer["id"] = id;
  if (const auto* object = rawJson(members)->if_object()) {
    for (const auto& member : *object) answer[member.key()] = member.value();
  }
  return toJsonValue(std::move(answer));
}

// The members of an answer that reports a failed command.
JsonValue failure(std::string_view message) {
  return toJsonValue(json::object{{"error", json::object{{"message", message}}}});
}

// The pieces of a profile hash ("294;17;" has "17" and "294"), sorted: the device writes
// them in its own property order, which need not be the server's.
std::vector<std::string_view> hashPieces(std::string_view hash) {
  std::vector<std::string_view> pieces;
  while (!hash.empty()) {
    const auto end = hash.find(';');
    pieces.push_back(hash.substr(0, end));
    if (end == std::string_view::npos) break;
    hash.remove_prefix(end + 1);
  }
  std::ranges::sort(pieces);
  return pieces;
}

bool sameHash(std::string_view device, std::string_view server) {
  return hashPieces(device) == hashPieces(server);
}

constexpr std::string_view kNoProfile = R"(no profile: send "getProfile" with "forceCreate" first)";

}  // namespace

JsonValue EmptyScreenContent::resultFor(const PageView& /*pageView*/) const {
  return toJsonValue(emptyLists());
}

// What the commands of one batch share: the visitor they act for.
struct RpcService::BatchState {
  const RpcRequest& request;
  std::string profileId{};  // "" until the visitor is known
  bool cookieToSet = false;
  std::string screenName{};
};

RpcService::RpcService(Options options)
    : RpcService(std::move(options), std::make_unique<EmptyScreenContent>()) {}

RpcService::RpcService(Options options, std::unique_ptr<ScreenContent> screenContent)
    : _options(std::move(options)),
      _screenContent(std::move(screenContent)),
      _derivedValues(_options.derivedValues),
      _wrapInPlJson(_options.wrapInPlJson) {}

RpcReply RpcService::handle(const RpcRequest& request) {
  RpcReply reply;
  std::string parseError;
  const auto batch = JsonValue::parse(request.body, &parseError);
  if (!batch || !batch->isArray()) {
    reply.status = 400;
    reply.contentType = "text/plain";
    reply.body = "The body must be a JSON array of commands." +
                 (parseError.empty() ? std::string() : " " + parseError);
    return reply;
  }

  std::lock_guard<std::mutex> lock(_mutex);
  BatchState state{.request = request, .screenName = screenNameFromReferer(request.referer)};
  if (request.visitorCookie && _profiles.contains(*request.visitorCookie)) {
    state.profileId = *request.visitorCookie;
  }
  json::array answers;
  for (const JsonRef& command : batch->elements()) {
    JsonValue answered = answer(command, state);
    if (!answered.isNull()) answers.push_back(std::move(mutableRawJson(answered)));
  }
  reply.body = toJsonValue(json::value(std::move(answers))).toCompactString();
  if (_wrapInPlJson) reply.body = "pl_json(" + reply.body + ")";
  if (state.cookieToSet) {
    reply.setCookie = std::string(kVisitorCookie) + "=" + state.profileId +
                      "; Path=/; Max-Age=31536000; HttpOnly";
  }
  return reply;
}

JsonValue RpcService::answer(const JsonRef& command, BatchState& batch) {
  if (!command.isObject()) return JsonValue();
  const std::string id = command["id"].string();
  const std::string method = command["method"].string();
  // "params" is JSON text inside the JSON (the client encodes parameters twice).
  JsonValue params = JsonValue::object();
  if (const JsonRef text = command["params"]; text.exists()) {
    auto decoded = text.isString() ? JsonValue::parse(text.stringView()) : std::nullopt;
    if (!decoded || !decoded->isObject()) {
      return idAnd(id, failure("\"params\" must be the JSON text of an object"));
    }
    params = std::move(*decoded);
  }

  JsonValue result;
  if (method == "getProfile") {
    result = getProfile(params.ref(), batch);
  } else if (method == "getProperties") {
    result = getProperties(params.ref(), batch);
  } else if (method == "setProperties" || method == "addProperties") {
    result = changeProperties(params.ref(), batch, method == "addProperties");
  } else if (method == "createEvent") {
    result = createEvent(params.ref(), batch);
  } else {
    result = failure("Unknown method: " + method);
  }
  // Each handler gives the members of the answer besides "id".
  return idAnd(id, result);
}

JsonValue RpcService::getProfile(const JsonRef& params, BatchState& batch) {
  if (batch.profileId.empty()) {
    if (firstString(params["forceCreate"]) != "true") {
      return toJsonValue(json::object{{"result", json::object()}});
    }
    batch.profileId = newProfileId();
    _profiles.emplace(batch.profileId, Profile{});
    batch.cookieToSet = true;
  }
  // "profileId" and "zoneId" sit beside "result"; the domain group sits inside it.
  json::object answer;
  answer["profileId"] = batch.profileId;
  const std::optional<std::string>& zone = _options.zoneId ? _options.zoneId : batch.request.zone;
  if (zone) answer["zoneId"] = *zone;
  answer["result"] =
      json::object{{"domainGroupId", _options.domainGroupId.value_or(batch.request.domainGroup)}};
  return toJsonValue(std::move(answer));
}

JsonValue RpcService::getProperties(const JsonRef& params, BatchState& batch) {
  auto profile = _profiles.find(batch.profileId);
  if (profile == _profiles.end()) {
    return failure(kNoProfile);
  }
  json::object properties;
  // A device whose copy is current gets no properties.
  const auto hash = params["hash"].at(0).asString();
  const bool current = hash && sameHash(*hash, ProfileHash::getHash(profile->second.properties));
  for (const auto& [name, values] : current ? Parameters() : profile->second.properties) {
    json::array list;
    for (const auto& value : values) list.emplace_back(value);
    properties[name] = std::move(list);
  }
  return toJsonValue(json::object{{"result", json::object{{"properties", std::move(properties)}}}});
}

JsonValue RpcService::changeProperties(const JsonRef& params, BatchState& batch, bool add) {
  auto profile = _profiles.find(batch.profileId);
  if (profile == _profiles.end()) {
    return failure(kNoProfile);
  }
  Parameters& stored = profile->second.properties;
  for (const auto& [name, values] : params["properties"].members()) {
    if (name.empty()) continue;
    std::vector<std::string>& list = stored[std::string(name)];
    if (!add) list.clear();
    std::vector<std::string> carried;
    for (const JsonRef& value : values.elements()) {
      if (!value.isString()) continue;
      std::string text = value.string();
      if (add) carried.push_back(text);
      // A set keeps no empty values; an add keeps every value once.
      if (!add && text.empty()) continue;
      if (add && std::ranges::find(list, text) != list.end()) continue;
      list.push_back(std::move(text));
    }
    // The plug-ins write raw points to the hidden "_" companion; the visible property is
    // what the platform derives from them. The points are folded per day, so the property
    // does not grow with every save; the values this add carried stay as they came, so
    // that the same add sent again (after a lost answer) still finds them and adds nothing.
    if (name.size() > 1 && name.front() == '_') {
      list = _derivedValues.fold(list, carried);
      if (auto visible = _derivedValues.derive(list))
        stored[std::string(name.substr(1))] = *visible;
    }
  }
  return toJsonValue(json::object{{"result", json::object()}});
}

JsonValue RpcService::createEvent(const JsonRef& params, BatchState& batch) {
  const std::string type = firstString(params["type"]);
  const std::string interaction = firstString(params["interaction"]);
  if (!interaction.empty()) {
    if (auto profile = _profiles.find(batch.profileId); profile != _profiles.end()) {
      ++profile->second.eventCounts[{interaction, type}];
    }
    return toJsonValue(json::object{{"result", json::object()}});
  }
  // No interaction: the client asks which interactions apply to this event's screen.
  PageView pageView{
      .profileId = batch.profileId, .eventType = type, .screenName = batch.screenName};
  if (auto profile = _profiles.find(batch.profileId); profile != _profiles.end()) {
    pageView.properties = profile->second.properties;
  }
  if (auto context = params["timelineContext"].at(0); context.isString()) {
    pageView.timelineContext = JsonValue::parse(context.stringView());
  }
  ++_pageViews[{type, batch.screenName}];
  JsonValue result = _screenContent->resultFor(pageView);
  return toJsonValue(json::object{{"result", std::move(mutableRawJson(result))}});
}

std::string RpcService::newProfileId() {
  static thread_local std::mt19937_64 random{std::random_device{}()};
  std::string id;
  do {
    id = fmt::format("{:016x}{:04x}", random(), ++_profileSerial & 0xffffU);
  } while (_profiles.contains(id));
  return id;
}

void RpcService::setWrapInPlJson(bool wrap) {
  std::lock_guard<std::mutex> lock(_mutex);
  _wrapInPlJson = wrap;
}

std::vector<std::string> RpcService::profileIds() const {
  std::lock_guard<std::mutex> lock(_mutex);
  std::vector<std::string> ids;
  for (const auto& [id, profile] : _profiles) ids.push_back(id);
  return ids;
}

bool RpcService::hasProfile(const std::string& profileId) const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _profiles.contains(profileId);
}

std::string RpcService::createProfile() {
  std::lock_guard<std::mutex> lock(_mutex);
  std::string id = newProfileId();
  _profiles.emplace(id, Profile{});
  return id;
}

bool RpcService::forgetProfile(const std::string& profileId) {
  std::lock_guard<std::mutex> lock(_mutex);
  return _profiles.erase(profileId) > 0;
}

std::optional<Parameters> RpcService::properties(const std::string& profileId) const {
  std::lock_guard<std::mutex> lock(_mutex);
  auto profile = _profiles.find(profileId);
  if (profile == _profiles.end()) return std::nullopt;
  return profile->second.properties;
}

bool RpcService::setProperty(const std::string& profileId, const std::string& name,
                             std::vector<std::string> values) {
  std::lock_guard<std::mutex> lock(_mutex);
  auto profile = _profiles.find(profileId);
  if (profile == _profiles.end()) return false;
  profile->second.properties[name] = std::move(values);
  return true;
}

std::int64_t RpcService::eventCount(const std::string& profileId, const std::string& interactionId,
                                    const std::string& type) const {
  std::lock_guard<std::mutex> lock(_mutex);
  auto profile = _profiles.find(profileId);
  if (profile == _profiles.end()) return 0;
  auto count = profile->second.eventCounts.find({interactionId, type});
  return count == profile->second.eventCounts.end() ? 0 : count->second;
}

std::int64_t RpcService::eventCount(const std::string& interactionId,
                                    const std::string& type) const {
  std::lock_guard<std::mutex> lock(_mutex);
  std::int64_t total = 0;
  for (const auto& [id, profile] : _profiles) {
    auto count = profile.eventCounts.find({interactionId, type});
    if (count != profile.eventCounts.end()) total += count->second;
  }
  return total;
}

std::int64_t RpcService::pageViewCount(const std::string& eventType,
                                       const std::string& screenName) const {
  std::lock_guard<std::mutex> lock(_mutex);
  auto count = _pageViews.find({eventType, screenName});
  return count == _pageViews.end() ? 0 : count->second;
}

std::string RpcService::screenNameFromReferer(std::string_view referer) {
  constexpr std::string_view kScheme = "app://";
  if (!referer.starts_with(kScheme)) return "";
  referer.remove_prefix(kScheme.size());
  auto slash = referer.find('/');
  return slash == std::string_view::npos ? "" : std::string(referer.substr(slash + 1));
}

}  // namespace pelorin::devserver
