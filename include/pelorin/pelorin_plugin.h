// Plug-ins: the classes that server-configured interactions start on the app's screens.
//
// An application adds its own by deriving from `PelorinPlugin` and registering the class
// under a name:
//
//   class Banner : public pelorin::PelorinPlugin {
//    public:
//     Banner(pelorin::PelorinClient& client, pelorin::InteractionContext context);
//     void onLoad() override;     // subscribe to events, attach to views
//     void onDestroy() override;  // let go of them again
//   };
//   pelorin::RuntimeClasses::add(pelorin::PluginClass::of<Banner>("MyApp.Banner"));
//
// Thread safety: `onLoad` and `onDestroy` are called on the main thread; a plug-in is
// constructed under the client's global lock. `RuntimeClasses` may be used from any thread.
#ifndef PELORIN_PELORIN_PLUGIN_H_
#define PELORIN_PELORIN_PLUGIN_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "pelorin/export.h"
#include "pelorin/interaction_context.h"

namespace pelorin {

class PelorinClient;

class PELORIN_EXPORT PelorinPlugin {
 public:
  virtual ~PelorinPlugin() = default;
  // Starts working: read the parameters, subscribe to events, attach to views.
  virtual void onLoad() = 0;
  // Stops working when the next page view replaces the plug-in. Optional.
  virtual void onDestroy() {}
};

using PluginFactory = std::function<std::shared_ptr<PelorinPlugin>(PelorinClient& client,
                                                                   InteractionContext context)>;

// A class as the library finds it by name. A class that is not a plug-in has no factory.
class PELORIN_EXPORT PluginClass {
 public:
  PluginClass(std::string name, PluginFactory factory)
      : _name(std::move(name)), _factory(std::move(factory)) {}

  // The class `T` under `name`; `T` is a plug-in when it derives from `PelorinPlugin` and
  // can be constructed from a client and a context.
  template <typename T>
  static PluginClass of(std::string name) {
    if constexpr (std::is_base_of_v<PelorinPlugin, T>) {
      // A class meant as a plug-in that has the wrong shape is refused here, not at run time.
      static_assert(!std::is_abstract_v<T>,
                    "a plug-in class overrides `void onLoad()` (and may override `void "
                    "onDestroy()`)");
      static_assert(std::is_constructible_v<T, PelorinClient&, InteractionContext>,
                    "a plug-in class has a constructor `T(PelorinClient& client, "
                    "InteractionContext context)`");
      return PluginClass(std::move(name), [](PelorinClient& client, InteractionContext context) {
        return std::make_shared<T>(client, std::move(context));
      });
    } else {
      return PluginClass(std::move(name), nullptr);
    }
  }

  const std::string& name() const { return _name; }
  bool isPlugin() const { return static_cast<bool>(_factory); }
  // A new instance; nullptr when the class is not a plug-in.
  std::shared_ptr<PelorinPlugin> create(PelorinClient& client, InteractionContext context) const {
    return _factory ? _factory(client, std::move(context)) : nullptr;
  }

 private:
  std::string _name;
  PluginFactory _factory;
};

// The classes of the process by name: what the client finds when the server names a class
// that was never registered with it. The library's own plug-ins are here from the start.
class PELORIN_EXPORT RuntimeClasses {
 public:
  // Adds `pluginClass` under its name; a name already present keeps its first class.
  static void add(const PluginClass& pluginClass);
  static std::optional<PluginClass> lookup(std::string_view name);
};

}  // namespace pelorin

#endif  // PELORIN_PELORIN_PLUGIN_H_
