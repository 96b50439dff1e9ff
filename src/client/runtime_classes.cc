#include <map>
#include <mutex>

#include "pelorin/pelorin_plugin.h"

namespace pelorin {
namespace {

struct Table {
  std::mutex mutex;
  std::map<std::string, PluginClass, std::less<>> classes;
};

Table& table() {
  static auto* instance = new Table;  // lives as long as the process
  return *instance;
}

}  // namespace

void RuntimeClasses::add(const PluginClass& pluginClass) {
  Table& t = table();
  std::lock_guard<std::mutex> lock(t.mutex);
  std::string name = pluginClass.name();
  t.classes.try_emplace(std::move(name), pluginClass);
}

std::optional<PluginClass> RuntimeClasses::lookup(std::string_view name) {
  Table& t = table();
  std::lock_guard<std::mutex> lock(t.mutex);
  auto it = t.classes.find(name);
  if (it == t.classes.end()) return std::nullopt;
  return it->second;
}

}  // namespace pelorin
