#include "plugins/global_listener.h"

#include "listeners/listener_util.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/platform/platform.h"
#include "plugins/global_listener_properties.h"
#include "plugins/platform_name.h"

namespace pelorin {
namespace {

JsonValue readInfoDictionary() {
  auto dictionary = Platform::current().bundle().infoDictionary();
  if (!dictionary || !dictionary->isObject()) return JsonValue::object();
  return std::move(*dictionary);
}

}  // namespace

GlobalListener::GlobalListener(PelorinClient& client, InteractionContext context)
    : infoDictionary(readInfoDictionary()), _client(client), _context(std::move(context)) {}

void GlobalListener::onLoad() {
  setDeviceInformation();
  setAppInformation();
  setOrigin();
  setStatistics();
}

std::string GlobalListener::platformRawString() {
  return Platform::current().device().hardwareModel();
}

std::string GlobalListener::platformNiceString() { return getPlatformName(platformRawString()); }

std::string GlobalListener::getPlatformName(std::string_view identifier) {
  return plugins::getPlatformName(identifier);
}

void GlobalListener::handleProperties(const Parameters& propertyValuesToSet) {
  for (const auto& entry : propertyValuesToSet) {
    PelorinClient::synchronized([&] { _client.setProfileValues(entry.first, entry.second); });
  }
}

void GlobalListener::setDeviceInformation() {
  const Platform& platform = Platform::current();
  plugins::DeviceDescription device;
  device.systemName = platform.device().systemName();
  device.systemVersion = platform.device().systemVersion();
  device.screenSize = platform.ui().screenSize();
  device.screenScale = platform.ui().screenScale();
  device.localeIdentifier = platform.clock().localeIdentifier();
  handleProperties(plugins::deviceProperties(device));
}

void GlobalListener::setAppInformation() {
  handleProperties(plugins::appProperties(infoDictionary.ref(),
                                          Platform::current().device().advertisingIdentifier(),
                                          platformNiceString()));
}

void GlobalListener::setOrigin() {
  plugins::OriginInputs inputs;
  inputs.originType = values("origin_type");
  inputs.originSource = values("origin_source");
  inputs.originDetail = values("origin_detail");
  if (inputs.originType.empty() && inputs.originSource.empty() && inputs.originDetail.empty()) {
    // Only a profile without any origin needs the rest.
    inputs.visits = values("visits");
    inputs.deviceType = firstValue("devicetype");
    inputs.visitedSites = values("visitedsites");
    inputs.entryPage = values("entrypage");
    inputs.appId = values("mobile_app_id");
    inputs.appNameVersion = values("mobile_app_nameversion");
    inputs.receivedFromSystem = values("received_from_system");
    inputs.receivedFromConnection = values("received_from_connection");
  }
  if (auto origin = plugins::originFor(inputs)) handleProperties(*origin);
}

void GlobalListener::setOriginProperties(const std::string& type,
                                         const std::optional<std::vector<std::string>>& source,
                                         const std::optional<std::vector<std::string>>& detail) {
  handleProperties(plugins::originProperties(type, source, detail));
}

void GlobalListener::setStatistics() {
  plugins::VisitCounters counters;
  counters.lastVisitDate = firstValue("lastvisitdate");
  counters.visits = firstValue("visits");
  counters.clickCount = firstValue("clickcount");
  counters.visitClicks = firstValue("visitclicks");
  if (auto statistics =
          plugins::statisticsProperties(counters, ListenerUtil::currentTimeMillis())) {
    handleProperties(*statistics);
  }
}

std::string GlobalListener::firstValue(std::string_view property) {
  return PelorinClient::synchronized([&] { return _client.getProfileValue(property); });
}

std::vector<std::string> GlobalListener::values(std::string_view property) {
  return PelorinClient::synchronized(
      [&] { return _client.getProfileValues(property).value_or(std::vector<std::string>{}); });
}

}  // namespace pelorin
