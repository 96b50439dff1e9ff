// The plug-in classes the client knows by name, and the lookups that resolve a class name
// sent by the server.
//
// Thread safety: none of its own; the engine owns it and guards it with the global lock.
#ifndef PELORIN_SRC_CLIENT_PLUGIN_REGISTRY_H_
#define PELORIN_SRC_CLIENT_PLUGIN_REGISTRY_H_

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pelorin/pelorin_plugin.h"

namespace pelorin {

class PluginRegistry {
 public:
  // Registers the library's built-in plug-in classes in their fixed order and logs
  // "Following plugins are available: " with the registered names.
  void registerPluginClasses(const std::vector<PluginClass>& builtIns);
  // Stores `pluginClass` under `className` (first registration wins), and also under
  // "PelorinClient." + the name's last part when that is free.
  void registerPluginClass(const PluginClass& pluginClass, const std::string& className);

  // The registered class of that name, else the runtime's class of that name (cached).
  std::optional<PluginClass> getCachedPluginClass(std::string_view name);
  // The cached lookup of the name, then of its part after the first ".".
  std::optional<PluginClass> getPluginClass(std::string_view name);
  // `getPluginClass`, then a retry in the application's own module ("CFBundleExecutable").
  std::optional<PluginClass> getPlugin(std::string_view name);

  // Registered names in the order they were registered.
  const std::vector<std::string>& names() const { return _names; }

 private:
  void store(const std::string& name, const PluginClass& pluginClass);

  std::map<std::string, PluginClass, std::less<>> _plugins;
  std::vector<std::string> _names;
};

// The library's own plug-in classes, in the order they are registered at start-up; each is
// also known to `RuntimeClasses` by its module-qualified name.
std::vector<PluginClass> builtInPluginClasses();

}  // namespace pelorin

#endif  // PELORIN_SRC_CLIENT_PLUGIN_REGISTRY_H_
