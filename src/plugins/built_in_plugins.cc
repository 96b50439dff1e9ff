#include "client/plugin_registry.h"
#include "listeners/behavior_listener.h"
#include "listeners/form_listener.h"

namespace pelorin {

std::vector<PluginClass> builtInPluginClasses() {
  // Registered in this order: BehaviorListener, EngagementRankingListener,
  // EngagementScoreListener, FormListener, FullscreenLightbox, PreferredHourListener,
  // GlobalListener. Each joins the list as its class is added to the library.
  static const std::vector<PluginClass> classes = [] {
    std::vector<PluginClass> list{
        PluginClass::of<BehaviorListener>(std::string(BehaviorListener::CLASS_NAME)),
        PluginClass::of<FormListener>(std::string(FormListener::CLASS_NAME)),
    };
    for (const auto& pluginClass : list) RuntimeClasses::add(pluginClass);
    return list;
  }();
  return classes;
}

}  // namespace pelorin
