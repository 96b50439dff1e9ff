// The engine's processing of the server's answers and its plug-in lifecycle.
#include <utility>

#include <fmt/format.h>

#include "base/describe.h"
#include "client/pelorin_client_impl.h"
#include "client/segments_and_connections.h"
#include "config/constants.h"
#include "config/pelorin_configuration.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "pelorin/pelorin_event_manager.h"
#include "pelorin/platform/main_thread.h"
#include "pelorin/platform/platform.h"
#include "storage/pelorin_data_manager.h"

namespace pelorin {
namespace {

// "result" → `member` as a map of string lists; nothing when any part is missing or mistyped.
std::optional<ProfileProperties> propertiesOf(JsonRef result) {
  JsonRef properties = result["result"]["properties"];
  if (!properties.isObject()) return std::nullopt;
  ProfileProperties map;
  for (auto [name, values] : properties.members()) {
    auto list = values.asStringList();
    if (!list) return std::nullopt;
    // Of a name given twice, the first counts.
    if (!map.contains(name)) map[name] = std::move(*list);
  }
  return map;
}

}  // namespace

bool PelorinClientImpl::processProfileResult(JsonRef result) {
  if (!result.isObject()) return false;
  auto profileId = result["profileId"].asString();
  auto zoneId = result["zoneId"].asString();
  if (auto domainGroup = result["result"]["domainGroupId"].asString()) {
    _cache->domainGroup = std::move(domainGroup);
    _cache->modified = true;
  }
  _updateZoneId(zoneId);
  return _updateProfileId(profileId);
}

void PelorinClientImpl::_updateZoneId(const std::optional<std::string>& zoneId) {
  if (!zoneId) return;
  if (!_zoneId || *_zoneId != *zoneId) _zoneId = zoneId;
}

bool PelorinClientImpl::_updateProfileId(const std::optional<std::string>& profileId) {
  if (!profileId) return false;
  if (_profileId && *_profileId == *profileId) return false;
  bool changed = false;
  if (_profileId) {
    log("New profile ID: " + *profileId + " - Old profile ID: " + *_profileId);
    // Another visitor: the properties held for the old one are no longer theirs.
    _cache->properties.clear();
    _cache->modified = true;
    changed = true;
  }
  _profileId = profileId;
  _writer->writeText(Constants::Files::ID, *profileId);
  return changed;
}

void PelorinClientImpl::processPropertiesResult(JsonRef result, bool isUpdate) {
  auto properties = propertiesOf(result);
  if (!properties) return;
  // An answer that the cache holds already is not copied into it again; the cache is
  // marked changed all the same, as after any answer.
  if (isUpdate) {
    PelorinConfiguration::log([&] { return "Updated properties: " + describe(*properties); },
                              LOG_TAG, LogFlag::INFO);
    if (_cache->holds(*properties)) {
      _cache->modified = true;
    } else {
      _cache->setProperties(*properties);
    }
  } else if (_cache->holdsExactly(*properties)) {
    _cache->modified = true;
  } else {
    // The server's answer replaces the whole profile.
    _cache->properties.clear();
    _cache->modified = true;
    _cache->setProperties(*properties);
  }
}

void PelorinClientImpl::processConnectionsResult(JsonRef result) {
  JsonRef list = result["result"]["connections"];
  if (!list.isArrayOfObjects()) return;
  _connections = addConnections(list);
}

void PelorinClientImpl::processSegmentsResult(JsonRef result) {
  JsonRef list = result["result"]["segments"];
  if (!list.isArrayOfObjects()) return;
  _segments = addSegments(list);
}

void PelorinClientImpl::processInteractionsResult(
    const std::weak_ptr<platform::ViewController>& /*context*/, JsonRef result, bool isPageview) {
  JsonRef list = result["result"]["interactions"];
  if (!list.isArrayOfObjects()) return;
  loadPlugins(getRegisteredPluginInteractions(list), isPageview);
}

// ---- Plug-ins ---------------------------------------------------------------------------

void PelorinClientImpl::registerPluginClasses() {
  _plugins.registerPluginClasses(builtInPluginClasses());
}

void PelorinClientImpl::registerPluginClass(const PluginClass& pluginClass,
                                            const std::string& className) {
  _plugins.registerPluginClass(pluginClass, className);
}

std::vector<std::shared_ptr<PelorinPlugin>> PelorinClientImpl::getRegisteredPluginInteractions(
    JsonRef interactions) {
  std::vector<std::shared_ptr<PelorinPlugin>> plugins;
  for (JsonRef interaction : interactions.elements()) {
    auto className = interaction["pluginClass"].asString();
    const std::string typeId = interaction["myInteractionTypeId"].string();
    const std::string id = interaction["id"].string();
    std::optional<PluginClass> pluginClass;
    if (className) pluginClass = _plugins.getPlugin(*className);
    if (!pluginClass) {
      log(fmt::format("Plugin class <{}> not found for type id: {}; and interaction: {}",
                      className.value_or(""), typeId, id),
          LogFlag::WARNING);
      continue;
    }
    log(fmt::format("Plugin class <{}> found! For the id: {} and interaction: {}", *className,
                    typeId, id));
    InteractionContext context(interaction, _context, _locale);
    if (!pluginClass->isPlugin()) continue;
    if (auto controller = context.getViewController()) _context = controller;
    if (auto plugin = pluginClass->create(_facade, std::move(context))) {
      plugins.push_back(std::move(plugin));
    }
  }
  return plugins;
}

void PelorinClientImpl::loadPlugins(const std::vector<std::shared_ptr<PelorinPlugin>>& plugins,
                                    bool isPageview) {
  if (plugins.empty()) return;
  if (isPageview) _currentPlugins.clear();
  auto& mainThread = Platform::current().mainThread();
  for (const auto& plugin : plugins) {
    _currentPlugins.push_back(plugin);
    mainThread.post([plugin] { plugin->onLoad(); });
  }
  // Events published before the plug-ins subscribed reach them now.
  mainThread.post([] {
    PelorinClient::synchronized([] { PelorinEventFactory::getInstance().handleAllEvents(); });
  });
}

void PelorinClientImpl::destroyPlugins() {
  if (_currentPlugins.empty()) return;
  auto& mainThread = Platform::current().mainThread();
  for (const auto& plugin : _currentPlugins) {
    mainThread.post([plugin] { plugin->onDestroy(); });
  }
  // The list stays until the next page view's plug-ins replace it.
}

}  // namespace pelorin
