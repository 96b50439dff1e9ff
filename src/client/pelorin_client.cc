#include "pelorin/pelorin_client.h"

#include <atomic>

#include "client/pelorin_client_impl.h"
#include "pelorin/platform/main_thread.h"
#include "pelorin/platform/platform.h"

namespace pelorin {
namespace {

constexpr std::string_view kPrivacyLegislation = "privacy_legislation";
constexpr std::string_view kConsentedObjectives = "consented_objectives";
constexpr std::string_view kRefusedObjectives = "refused_objectives";

std::optional<std::vector<std::string>> valuesOf(const PelorinClientImpl& engine,
                                                 std::string_view name) {
  const auto& properties = engine.cache().properties;
  auto it = properties.find(std::string(name));
  if (it == properties.end()) return std::nullopt;
  return it->second;
}

}  // namespace

std::recursive_mutex& PelorinClient::globalLock() {
  // Leaked on purpose: threads of the library may take the lock while the process exits.
  static auto* lock = new std::recursive_mutex;
  return *lock;
}

PelorinClient::PelorinClient() = default;

PelorinClient& PelorinClient::getInstance() {
  // Created under the global lock alone (no second lock such as a static guard), so a
  // first call from inside `synchronized` on one thread and from outside on another
  // cannot wait for each other. The client and its engine are never destroyed: no static
  // destructor can pull them from under a request or a tick that is still running.
  static std::atomic<PelorinClient*> instance{nullptr};
  if (PelorinClient* client = instance.load(std::memory_order_acquire)) return *client;
  return synchronized([]() -> PelorinClient& {
    PelorinClient* client = instance.load(std::memory_order_acquire);
    if (client == nullptr) {
      client = new PelorinClient();
      client->_engine = new PelorinClientImpl(*client);
      instance.store(client, std::memory_order_release);
      Platform::current().mainThread().scheduleRepeatingTimer(
          Platform::current().syncInterval(), [client] { client->_engine->sync(); });
    }
    return *client;
  });
}

PelorinClient& PelorinClient::getInstance(
    const std::shared_ptr<platform::ViewController>& context) {
  PelorinClient& client = getInstance();
  if (context) synchronized([&] { client._engine->setViewController(context); });
  return client;
}

std::optional<std::string> PelorinClient::getProfileId() {
  return synchronized([this] { return _engine->profileId(); });
}

std::string PelorinClient::getProfileValue(std::string_view name) {
  const std::string key(name);
  return synchronized([&] {
    // Only the first value is copied, not the whole list.
    const auto& properties = _engine->cache().properties;
    auto it = properties.find(key);
    return it != properties.end() && !it->second.empty() ? it->second.front() : std::string();
  });
}

std::optional<std::vector<std::string>> PelorinClient::getProfileValues(std::string_view name) {
  return synchronized([&] { return valuesOf(*_engine, name); });
}

void PelorinClient::setProfileValue(const std::string& name, const std::string& value) {
  synchronized([&] { _engine->setProfileValue(name, value); });
}

void PelorinClient::addProfileValue(const std::string& name, const std::string& value) {
  if (name.empty() || value.empty()) return;
  // The one-value list is made before taking the lock, so contending threads wait less.
  const std::vector<std::string> values{value};
  synchronized([&] { _engine->addProfileValues(name, values); });
}

void PelorinClient::setProfileValues(const std::string& name,
                                     const std::vector<std::string>& values) {
  synchronized([&] { _engine->setProfileValues(name, values); });
}

void PelorinClient::addProfileValues(const std::string& name,
                                     const std::vector<std::string>& values) {
  synchronized([&] { _engine->addProfileValues(name, values); });
}

std::optional<std::string> PelorinClient::getPrivacyLegislation() {
  return getProfileValue(kPrivacyLegislation);
}

void PelorinClient::setPrivacyLegislation(const std::string& legislation) {
  setProfileValue(std::string(kPrivacyLegislation), legislation);
}

std::optional<std::vector<std::string>> PelorinClient::getConsentedObjectives() {
  return getProfileValues(kConsentedObjectives);
}

std::optional<std::vector<std::string>> PelorinClient::getRefusedObjectives() {
  return getProfileValues(kRefusedObjectives);
}

void PelorinClient::setConsentedObjectives(const std::vector<std::string>& objectives) {
  setProfileValues(std::string(kConsentedObjectives), objectives);
}

void PelorinClient::setRefusedObjectives(const std::vector<std::string>& objectives) {
  setProfileValues(std::string(kRefusedObjectives), objectives);
}

void PelorinClient::addConsentedObjective(const std::string& objective) {
  addProfileValue(std::string(kConsentedObjectives), objective);
}

void PelorinClient::addRefusedObjective(const std::string& objective) {
  addProfileValue(std::string(kRefusedObjectives), objective);
}

void PelorinClient::setLocale(const std::string& locale) {
  synchronized([&] {
    if (_engine->isEnabled()) _engine->setLocale(locale);
  });
}

void PelorinClient::setEnabled(bool enabled) {
  synchronized([&] { _engine->setEnabled(enabled); });
}

bool PelorinClient::isEnabled() {
  return synchronized([this] { return _engine->isEnabled(); });
}

std::string PelorinClient::getScreenName() {
  return synchronized([this] { return _engine->screenName(); });
}

bool PelorinClient::setURL(std::string_view url) {
  return synchronized([&] { return _engine->isEnabled() && _engine->setURL(url); });
}

void PelorinClient::createEvent(const std::string& name, const std::optional<JsonValue>& data,
                                Completion completion) {
  synchronized([&] {
    if (_engine->isEnabled()) _engine->createEvent(name, data, std::move(completion));
  });
}

void PelorinClient::createEvent(const std::string& name,
                                const std::map<std::string, std::string>& properties,
                                Completion completion) {
  createEvent(name, std::optional<JsonValue>(properties), std::move(completion));
}

void PelorinClient::createEvent(
    const std::string& name,
    std::initializer_list<std::pair<const std::string, std::string>> properties,
    Completion completion) {
  if (properties.size() == 0) {
    createEvent(name, std::optional<JsonValue>(), std::move(completion));
    return;
  }
  createEvent(name, std::map<std::string, std::string>(properties), std::move(completion));
}

void PelorinClient::updateProfile(Completion completion) {
  synchronized([&] { _engine->sendUpdates(true, std::move(completion)); });
}

void PelorinClient::registerPluginClass(const PluginClass& pluginClass) {
  synchronized([&] {
    if (_engine->isEnabled()) _engine->registerPluginClass(pluginClass, pluginClass.name());
  });
}

void PelorinClient::registerPluginClass(const PluginClass& pluginClass,
                                        const std::string& className) {
  synchronized([&] { _engine->registerPluginClass(pluginClass, className); });
}

bool PelorinClient::hasSegment(std::string_view segmentId) {
  return synchronized([&] {
    for (const auto& segment : _engine->segments()) {
      if (segment.getId() == segmentId) return true;
    }
    return false;
  });
}

std::vector<PelorinSegment> PelorinClient::getSegments() {
  return synchronized([this] { return _engine->segments(); });
}

std::vector<Connection> PelorinClient::getConnections() {
  return synchronized([this] { return _engine->connections(); });
}

std::shared_ptr<platform::ViewController> PelorinClient::getViewController() {
  return synchronized([this] { return _engine->viewController(); });
}

std::shared_ptr<platform::View> PelorinClient::getView(std::string_view selector) {
  return synchronized([&] { return _engine->getView(std::string(selector)); });
}

}  // namespace pelorin
