#include "client/plugin_registry.h"
#include "listeners/behavior_listener.h"
#include "listeners/form_listener.h"
#include "plugins/engagement_ranking_listener.h"
#include "plugins/engagement_score_listener.h"
#include "plugins/fullscreen_lightbox.h"
#include "plugins/global_listener.h"
#include "plugins/preferred_hour_listener.h"

namespace pelorin {

std::vector<PluginClass> builtInPluginClasses() {
  // Registered in this order: BehaviorListener, EngagementRankingListener,
  // EngagementScoreListener, FormListener, FullscreenLightbox, PreferredHourListener,
  // GlobalListener.
  static const std::vector<PluginClass> classes = [] {
    std::vector<PluginClass> list;
    list.push_back(PluginClass::of<BehaviorListener>(std::string(BehaviorListener::CLASS_NAME)));
    list.push_back(PluginClass::of<EngagementRankingListener>(
        std::string(EngagementRankingListener::CLASS_NAME)));
    list.push_back(
        PluginClass::of<EngagementScoreListener>(std::string(EngagementScoreListener::CLASS_NAME)));
    list.push_back(PluginClass::of<FormListener>(std::string(FormListener::CLASS_NAME)));
    list.push_back(PluginClass::of<FullscreenLightbox>("PelorinClient.FullscreenLightbox"));
    list.push_back(PluginClass::of<PreferredHourListener>("PelorinClient.PreferredHourListener"));
    list.push_back(PluginClass::of<GlobalListener>("PelorinClient.GlobalListener"));
    for (const auto& pluginClass : list) RuntimeClasses::add(pluginClass);
    return list;
  }();
  return classes;
}

}  // namespace pelorin
