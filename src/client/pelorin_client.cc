#include "pelorin/pelorin_client.h"

#include <atomic>

#include "base/mutex.h"
#include "client/client_testing.h"
#include "client/pelorin_client_impl.h"

namespace pelorin {
namespace {

constexpr std::string_view kPrivacyLegislation = "privacy_legislation";
constexpr std::string_view kConsentedObjectives = "consented_objectives";
constexpr std::string_view kRefusedObjectives = "refused_objectives";

std::optional<std::vector<std::string>> valuesOf(const PelorinClientImpl& engine,
                                                 std::string_view name) REQUIRES(globalLock()) {
  const auto& properties = engine.cache().properties;
  auto it = properties.find(std::string(name));
  if (it == properties.end()) return std::nullopt;
  return it->second;
}

// The client with its engine; null until the first getInstance (and after a test's reset).
std::atomic<PelorinClient*> instance{nullptr};
// The facade object, made once: a reset replaces only the engine behind it.
PelorinClient* facade GUARDED_BY(globalLock()) = nullptr;

}  // namespace

PelorinClient::SynchronizedScope::SynchronizedScope() NO_THREAD_SAFETY_ANALYSIS {
  globalLock().lock();
}

PelorinClient::SynchronizedScope::~SynchronizedScope() NO_THREAD_SAFETY_ANALYSIS {
  globalLock().unlock();
}

PelorinClient::PelorinClient() = default;

PelorinClient& PelorinClient::getInstance() {
  // Created under the global lock alone (no second lock such as a static guard), so a
  // first call from inside `synchronized` on one thread and from outside on another
  // cannot wait for each other. The client and its engine are never destroyed (only a
  // test's reset replaces them): no static destructor can pull them from under a request
  // or a tick that is still running.
  if (PelorinClient* client = instance.load(std::memory_order_acquire)) return *client;
  MutexLock lock(globalLock());
  PelorinClient* client = instance.load(std::memory_order_acquire);
  if (client == nullptr) {
    if (facade == nullptr) facade = new PelorinClient();
    client = facade;
    client->_engine = new PelorinClientImpl(*client);
    client->_engine->startSyncTimer();
    instance.store(client, std::memory_order_release);
  }
  return *client;
}

PelorinClientImpl* ClientTesting::takeEngine() {
  for (;;) {
    PelorinClientImpl* engine = nullptr;
    {
      MutexLock lock(globalLock());
      PelorinClient* client = instance.load(std::memory_order_acquire);
      if (client == nullptr) return nullptr;
      engine = client->_engine;
      // An operation still queued takes the lock when it runs: let it finish first.
      if (engine->pendingOperations() == 0) {
        instance.store(nullptr, std::memory_order_release);
        client->_engine = nullptr;
        return engine;
      }
    }
    engine->waitForOperations();
  }
}

PelorinClient& PelorinClient::getInstance(
    const std::shared_ptr<platform::ViewController>& context) {
  PelorinClient& client = getInstance();
  if (context) {
    MutexLock lock(globalLock());
    client._engine->setViewController(context);
  }
  return client;
}

std::optional<std::string> PelorinClient::getProfileId() {
  MutexLock lock(globalLock());
  return _engine->profileId();
}

std::string PelorinClient::getProfileValue(std::string_view name) {
  const std::string key(name);
  MutexLock lock(globalLock());
  // Only the first value is copied, not the whole list.
  const auto& properties = _engine->cache().properties;
  auto it = properties.find(key);
  return it != properties.end() && !it->second.empty() ? it->second.front() : std::string();
}

std::optional<std::vector<std::string>> PelorinClient::getProfileValues(std::string_view name) {
  MutexLock lock(globalLock());
  return valuesOf(*_engine, name);
}

void PelorinClient::setProfileValue(const std::string& name, const std::string& value) {
  MutexLock lock(globalLock());
  _engine->setProfileValue(name, value);
}

void PelorinClient::addProfileValue(const std::string& name, const std::string& value) {
  if (name.empty() || value.empty()) return;
  // The one-value list is made before taking the lock, so contending threads wait less.
  const std::vector<std::string> values{value};
  MutexLock lock(globalLock());
  _engine->addProfileValues(name, values);
}

void PelorinClient::setProfileValues(const std::string& name,
                                     const std::vector<std::string>& values) {
  MutexLock lock(globalLock());
  _engine->setProfileValues(name, values);
}

void PelorinClient::addProfileValues(const std::string& name,
                                     const std::vector<std::string>& values) {
  MutexLock lock(globalLock());
  _engine->addProfileValues(name, values);
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
  MutexLock lock(globalLock());
  if (_engine->isEnabled()) _engine->setLocale(locale);
}

void PelorinClient::setEnabled(bool enabled) {
  MutexLock lock(globalLock());
  _engine->setEnabled(enabled);
}

bool PelorinClient::isEnabled() {
  MutexLock lock(globalLock());
  return _engine->isEnabled();
}

std::string PelorinClient::getScreenName() {
  MutexLock lock(globalLock());
  return _engine->screenName();
}

bool PelorinClient::setURL(std::string_view url) {
  MutexLock lock(globalLock());
  return _engine->isEnabled() && _engine->setURL(url);
}

void PelorinClient::createEvent(const std::string& name, const std::optional<JsonValue>& data,
                                Completion completion) {
  MutexLock lock(globalLock());
  if (_engine->isEnabled()) _engine->createEvent(name, data, std::move(completion));
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
  MutexLock lock(globalLock());
  _engine->sendUpdates(true, std::move(completion));
}

void PelorinClient::registerPluginClass(const PluginClass& pluginClass) {
  MutexLock lock(globalLock());
  if (_engine->isEnabled()) _engine->registerPluginClass(pluginClass, pluginClass.name());
}

void PelorinClient::registerPluginClass(const PluginClass& pluginClass,
                                        const std::string& className) {
  MutexLock lock(globalLock());
  _engine->registerPluginClass(pluginClass, className);
}

bool PelorinClient::hasSegment(std::string_view segmentId) {
  MutexLock lock(globalLock());
  for (const auto& segment : _engine->segments()) {
    if (segment.getId() == segmentId) return true;
  }
  return false;
}

std::vector<PelorinSegment> PelorinClient::getSegments() {
  MutexLock lock(globalLock());
  return _engine->segments();
}

std::vector<Connection> PelorinClient::getConnections() {
  MutexLock lock(globalLock());
  return _engine->connections();
}

std::shared_ptr<platform::ViewController> PelorinClient::getViewController() {
  MutexLock lock(globalLock());
  return _engine->viewController();
}

std::shared_ptr<platform::View> PelorinClient::getView(std::string_view selector) {
  MutexLock lock(globalLock());
  return _engine->getView(std::string(selector));
}

}  // namespace pelorin
