// The built-in plug-in that describes the device, the app and the visit in the visitor's
// profile each time it is loaded: system, screen, language, app identity and version,
// device model, advertising identifier, click and visit counters and, once per profile,
// where the visitor first came from. It observes nothing afterwards.
//
// Thread safety: loaded on the main thread; every call into the client takes the client's
// global lock, one call at a time, so the counters' read-modify-write is not atomic
// against other writers of the same properties.
#ifndef PELORIN_SRC_PLUGINS_GLOBAL_LISTENER_H_
#define PELORIN_SRC_PLUGINS_GLOBAL_LISTENER_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pelorin/interaction_context.h"
#include "pelorin/json_value.h"
#include "pelorin/pelorin_plugin.h"
#include "pelorin/pelorin_types.h"

namespace pelorin {

class PelorinClient;

class GlobalListener : public PelorinPlugin {
 public:
  struct Property {
    static constexpr std::string_view APP_ID = "mobile_app_id";
    static constexpr std::string_view APP_NAME = "mobile_app_name";
    static constexpr std::string_view APP_NAME_VERSION = "mobile_app_nameversion";
    static constexpr std::string_view APP_VENDOR = "mobile_app_vendor";
    static constexpr std::string_view APP_MODEL = "mobile_app_model";
    static constexpr std::string_view APP_AD_ID = "mobile_app_ad_id";
  };

  // Reads the application's information dictionary (empty when it has none).
  GlobalListener(PelorinClient& client, InteractionContext context);

  // Writes the device, app, origin and statistics properties, in that order.
  void onLoad() override;

  // The hardware model identifier, e.g. "iPhone10,3".
  static std::string platformRawString();
  // Its marketing name, e.g. "iPhone X"; an unknown identifier as it is.
  static std::string platformNiceString();
  static std::string getPlatformName(std::string_view identifier);

  // Replaces each property's values with the map's, through the client.
  void handleProperties(const Parameters& propertyValuesToSet);

  void setDeviceInformation();
  void setAppInformation();
  void setOrigin();
  void setStatistics();
  void setOriginProperties(const std::string& type,
                           const std::optional<std::vector<std::string>>& source,
                           const std::optional<std::vector<std::string>>& detail);

  // The main bundle's information dictionary, read at construction.
  const JsonValue infoDictionary;

 private:
  std::string firstValue(std::string_view property);
  std::vector<std::string> values(std::string_view property);

  PelorinClient& _client;
  InteractionContext _context;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_PLUGINS_GLOBAL_LISTENER_H_
