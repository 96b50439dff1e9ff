#include "storage/pelorin_cache.h"

#include <algorithm>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

namespace pelorin {
namespace {

boost::json::string_view bj(std::string_view s) { return {s.data(), s.size()}; }

}  // namespace

void PelorinCache::setProperties(const ProfileProperties& newProperties) {
  for (const auto& [name, values] : newProperties) {
    if (name.empty()) continue;
    properties[name] = filterEmpty(values);
  }
  modified = true;
}

void PelorinCache::addProperties(std::string_view name, const std::vector<std::string>& values) {
  if (name.empty()) return;
  auto& stored = properties[std::string(name)];
  for (const auto& value : values) {
    if (std::find(stored.begin(), stored.end(), value) == stored.end()) stored.push_back(value);
  }
  modified = true;
}

std::vector<std::string> PelorinCache::filterEmpty(const std::vector<std::string>& values) {
  std::vector<std::string> kept;
  kept.reserve(values.size());
  for (const auto& value : values) {
    if (!value.empty()) kept.push_back(value);
  }
  return kept;
}

JsonValue PelorinCache::toJson() const {
  boost::json::object stored;
  stored.reserve(properties.size());
  for (const auto& [name, values] : properties) {
    boost::json::array list;
    list.reserve(values.size());
    for (const auto& value : values) list.emplace_back(bj(value));
    stored.emplace(bj(name), std::move(list));
  }
  boost::json::object document;
  document.reserve(3);
  document.emplace("properties", std::move(stored));
  if (domainGroup) document.emplace("domainGroup", bj(*domainGroup));
  document.emplace("modified", modified);
  return JsonValue(std::move(document));
}

std::string PelorinCache::encode() const { return toJson().toCompactString(); }

Result<PelorinCache> PelorinCache::fromJson(JsonRef document) {
  if (!document.isObject()) return Error{"cache: the document is not an object"};
  JsonRef stored = document["properties"];
  if (!stored.isObject()) return Error{"cache: missing or mistyped member \"properties\""};
  auto modified = document["modified"].asBool();
  if (!modified) return Error{"cache: missing or mistyped member \"modified\""};
  JsonRef domainGroup = document["domainGroup"];
  if (!domainGroup.isNull() && !domainGroup.isString()) {
    return Error{"cache: mistyped member \"domainGroup\""};
  }

  PelorinCache cache;
  cache.modified = *modified;
  if (domainGroup.isString()) cache.domainGroup = domainGroup.string();
  for (const auto& [name, values] : stored.members()) {
    auto list = values.asStringList();
    if (!list) return Error{"cache: the values of \"" + std::string(name) + "\" are not texts"};
    // A name stored twice (only a foreign file can) keeps its last list.
    cache.properties[std::string(name)] = std::move(*list);
  }
  return cache;
}

Result<PelorinCache> PelorinCache::decode(std::string_view text) {
  std::string error;
  auto document = JsonValue::parse(text, &error);
  if (!document) return Error{"cache: " + error};
  return fromJson(document->ref());
}

}  // namespace pelorin
