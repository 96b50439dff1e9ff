// Does not compile: a plug-in class whose onLoad takes an argument overrides nothing.
#include "pelorin/pelorin_plugin.h"

namespace {

class OnLoadWithAnArgument : public pelorin::PelorinPlugin {
 public:
  OnLoadWithAnArgument(pelorin::PelorinClient& /*client*/,
                       pelorin::InteractionContext /*context*/) {}
  void onLoad(int /*unused*/) {}
};

}  // namespace

pelorin::PluginClass wrongOnLoad() {
  return pelorin::PluginClass::of<OnLoadWithAnArgument>("MyApp.OnLoadWithAnArgument");
}
