#include "listeners/form_listener.h"

#include <string>
#include <utility>

#include "json/json_value_access.h"
#include "listeners/listener_util.h"
#include "pelorin/pelorin_client.h"

namespace pelorin {
namespace {

// Sets `key` to the first of `sources` that `from` holds, or removes it when none does.
void renameKey(boost::json::object& to, const boost::json::object& from, std::string_view key,
               std::initializer_list<std::string_view> sources) {
  for (std::string_view source : sources) {
    if (const boost::json::value* found = from.if_contains(source)) {
      boost::json::value copy = *found;
      to[key] = std::move(copy);
      return;
    }
  }
  to.erase(key);
}

// The first string of the parameter `key`, "" included; nothing when the parameter is
// missing or holds no values.
std::optional<std::string> firstString(const InteractionContext& context, std::string_view key) {
  const auto& parameters = context.getParameters();
  auto found = parameters.find(std::string(key));
  if (found == parameters.end() || found->second.empty()) return std::nullopt;
  return found->second.front();
}

}  // namespace

std::optional<JsonValue> FormListener::migrate() const {
  std::optional<std::string> version = firstString(_context, "version");
  std::optional<std::string> rulesText = firstString(_context, "form_listener_rules");
  if (!version || !rulesText) return std::nullopt;
  if (*version == "2") {
    std::optional<JsonValue> rules = ListenerUtil::stringToJson(*rulesText);
    if (!rules || !rules->isArray()) return std::nullopt;
    return rules;
  }
  std::optional<JsonValue> listenerRules =
      ListenerUtil::getDictionaryFromParameters("form_listener_rules", &_context);
  if (!listenerRules) return std::nullopt;
  JsonRef rules = (*listenerRules)["rules"];
  if (!rules.isArray()) return std::nullopt;
  return migrateToV2(rules);
}

JsonValue FormListener::migrateToV2(JsonRef rules) {
  boost::json::array migrated;
  for (const JsonRef& rule : rules.elements()) {
    const boost::json::object* old = rawJson(rule)->if_object();
    if (old == nullptr) continue;
    boost::json::object updated = *old;
    renameKey(updated, *old, "id", {"identifier"});
    // Only a list whose every element is an object counts as a list of objects.
    if (rule["profileproperty"].isArrayOfObjects()) {
      updated["profileProperty"] =
          boost::json::string(rule["profileproperty"][0]["profileproperty"].string());
    }
    boost::json::object* converter =
        updated.contains("converter") ? updated["converter"].if_object() : nullptr;
    boost::json::array* mappings = nullptr;
    if (converter != nullptr && converter->contains("mappings")) {
      mappings = (*converter)["mappings"].if_array();
    }
    if (mappings != nullptr) {
      for (boost::json::value& entry : *mappings) {
        boost::json::object* mapping = entry.if_object();
        if (mapping == nullptr) continue;
        const boost::json::object source = *mapping;
        renameKey(*mapping, source, "id", {"identifier", "id"});
        renameKey(*mapping, source, "original", {"o", "original"});
        renameKey(*mapping, source, "converted", {"c", "converted"});
      }
    }
    migrated.emplace_back(std::move(updated));
  }
  return toJsonValue(boost::json::value(std::move(migrated)));
}

void FormListener::onLoad() {
  std::optional<JsonValue> rules = migrate();
  if (!rules) return;
  const std::optional<std::string>& interactionId = _context.getInteractionId();
  if (!interactionId) return;
  _service = std::make_shared<FormListeningService>(_client);
  _service->setListenerId(*interactionId);
  _service->applyRules(rules->ref());
  _service->save();
}

void FormListener::onDestroy() { EventSerivceBase::unsubscribe(_context.getInteractionId()); }

}  // namespace pelorin
