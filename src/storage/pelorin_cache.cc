#include "storage/pelorin_cache.h"

#include <algorithm>

#include <boost/json/array.hpp>
#include <boost/json/monotonic_resource.hpp>
#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>

#include "json/json_value_access.h"
#include "json/json_writer.h"

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

bool PelorinCache::holds(const ProfileProperties& newProperties) const {
  return std::all_of(newProperties.begin(), newProperties.end(), [&](const auto& entry) {
    if (entry.first.empty()) return true;
    const auto stored = properties.find(entry.first);
    return stored != properties.end() && stored->second == filterEmpty(entry.second);
  });
}

bool PelorinCache::holdsExactly(const ProfileProperties& newProperties) const {
  const auto named = std::count_if(newProperties.begin(), newProperties.end(),
                                   [](const auto& entry) { return !entry.first.empty(); });
  return static_cast<std::size_t>(named) == properties.size() && holds(newProperties);
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
  return toJsonValue(std::move(document));
}

// Written directly, without building the document first: the cache is the largest file
// the library stores. The text is the compact form of toJson().
std::string PelorinCache::encode() const {
  std::string out;
  std::size_t estimate = 64;
  for (const auto& [name, values] : properties) {
    estimate += name.size() + 6;
    for (const auto& value : values) estimate += value.size() + 3;
  }
  out.reserve(estimate);
  out += "{\"properties\":{";
  bool first = true;
  for (const auto& [name, values] : properties) {
    if (!first) out.push_back(',');
    first = false;
    appendJsonString(out, name);
    out += ":[";
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (i != 0) out.push_back(',');
      appendJsonString(out, values[i]);
    }
    out.push_back(']');
  }
  out.push_back('}');
  if (domainGroup) {
    out += ",\"domainGroup\":";
    appendJsonString(out, *domainGroup);
  }
  out += modified ? ",\"modified\":true}" : ",\"modified\":false}";
  return out;
}

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
  // The document lives only while it is copied into the cache: one arena, freed at once.
  boost::json::monotonic_resource arena;
  boost::json::error_code error;
  boost::json::value document =
      boost::json::parse(boost::json::string_view(text.data(), text.size()), error, &arena);
  if (error) return Error{"cache: " + error.message()};
  return fromJson(jsonRef(document));
}

}  // namespace pelorin
