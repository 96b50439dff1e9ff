#include "client/plugin_registry.h"

#include <algorithm>

#include "config/pelorin_configuration.h"
#include "pelorin/platform/platform.h"

namespace pelorin {
namespace {

constexpr std::string_view kModulePrefix = "PelorinClient.";

std::string join(const std::vector<std::string>& names, std::string_view separator) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += separator;
    text += names[i];
  }
  return text;
}

void log(const std::string& message, std::string_view flag = LogFlag::INFO) {
  PelorinConfiguration::log(message, PelorinConfiguration::LOG_TAG, flag);
}

}  // namespace

void PluginRegistry::registerPluginClasses(const std::vector<PluginClass>& builtIns) {
  for (const auto& pluginClass : builtIns) registerPluginClass(pluginClass, pluginClass.name());
  log("Following plugins are available: " + join(_names, ", "));
}

void PluginRegistry::store(const std::string& name, const PluginClass& pluginClass) {
  if (_plugins.try_emplace(name, pluginClass).second) _names.push_back(name);
}

void PluginRegistry::registerPluginClass(const PluginClass& pluginClass,
                                         const std::string& className) {
  if (!pluginClass.isPlugin()) {
    log("The class '" + className + "' is not of type 'PelorinPlugin' and will not be registered.");
    return;
  }
  if (_plugins.count(className) != 0) return;
  store(className, pluginClass);
  // A class registered under a plain name is also found under the module-qualified form.
  const auto dot = className.rfind('.');
  const std::string shortName = dot == std::string::npos ? className : className.substr(dot + 1);
  const std::string qualified = std::string(kModulePrefix) + shortName;
  if (_plugins.count(qualified) == 0) store(qualified, pluginClass);
  log("The plugin '" + className + "' is registered.");
}

std::optional<PluginClass> PluginRegistry::getCachedPluginClass(std::string_view name) {
  if (auto it = _plugins.find(name); it != _plugins.end()) return it->second;
  auto found = RuntimeClasses::lookup(name);
  if (!found) return std::nullopt;
  log("Plugin found at <" + std::string(name) + ">");
  store(std::string(name), *found);
  return found;
}

std::optional<PluginClass> PluginRegistry::getPluginClass(std::string_view name) {
  if (auto found = getCachedPluginClass(name)) return found;
  const auto dot = name.find('.');
  if (dot == std::string_view::npos) return std::nullopt;
  return getCachedPluginClass(name.substr(dot + 1));
}

std::optional<PluginClass> PluginRegistry::getPlugin(std::string_view name) {
  if (auto found = getPluginClass(name)) return found;
  auto executable = Platform::current().bundle().objectForInfoDictionaryKey("CFBundleExecutable");
  const auto dot = name.find('.');
  if (executable && executable->isString() && dot != std::string_view::npos) {
    // A class qualified with the server's module may live in the application's own module.
    std::string module = executable->string();
    std::replace(module.begin(), module.end(), ' ', '_');
    if (auto found = getPluginClass(module + "." + std::string(name.substr(dot + 1)))) return found;
  }
  log("Project name cannot be found or plugins class <" + std::string(name) + "> is invalid",
      LogFlag::WARNING);
  return std::nullopt;
}

}  // namespace pelorin
