// Does not compile: a plug-in class without the constructor the library calls.
#include "pelorin/pelorin_plugin.h"

namespace {

class NoClientConstructor : public pelorin::PelorinPlugin {
 public:
  explicit NoClientConstructor(int /*unused*/) {}
  void onLoad() override {}
};

}  // namespace

pelorin::PluginClass wrongConstructor() {
  return pelorin::PluginClass::of<NoClientConstructor>("MyApp.NoClientConstructor");
}
