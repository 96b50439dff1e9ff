#include "client/pelorin_client_impl.h"

#include <algorithm>
#include <chrono>

#include <fmt/format.h>

#include "config/constants.h"
#include "events/event_bus_client_link.h"
#include "json/utf8.h"
#include "pelorin/event.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "pelorin/pelorin_event_manager.h"
#include "pelorin/platform/main_thread.h"
#include "pelorin/platform/platform.h"
#include "pelorin/platform/view_controller.h"
#include "protocol/pelorin_connector.h"
#include "protocol/pelorin_reachability.h"
#include "protocol/profile_hash.h"
#include "storage/pelorin_data_manager.h"

namespace pelorin {
namespace {

// The answer to the command of one call id, or a missing value.
JsonRef answerOf(const PelorinConnector::ExchangeResult& result, std::string_view id) {
  if (!result.response) return JsonRef();
  auto it = result.response->find(id);
  return it == result.response->end() ? JsonRef() : it->second.ref();
}

// A properties answer whose map has no members. With a profile hash in the request the
// server leaves out what the device holds already, so such an answer says "current".
bool holdsNoProperties(JsonRef answer) {
  JsonRef properties = answer["result"]["properties"];
  return properties.isObject() && properties.empty();
}

// The files and the wire carry UTF-8 only. A change holding other bytes could be neither
// stored nor sent, and would take every other pending change of its batch down with it.
bool isUtf8Change(const std::string& name, const std::vector<std::string>& values) {
  return isValidUtf8(name) && std::all_of(values.begin(), values.end(),
                                          [](const auto& value) { return isValidUtf8(value); });
}

constexpr std::string_view kNotUtf8Change =
    "Profile change ignored: the property name or a value is not UTF-8";

}  // namespace

// How the event bus sees the engine: it exists, and its screen name.
class EngineEventBusLink : public EventBusClientLink {
 public:
  explicit EngineEventBusLink(const PelorinClientImpl& engine) : _engine(engine) {}
  bool clientExists() const override { return true; }
  // The bus asks only under the global lock.
  std::optional<std::string> currentScreenName() const override {
    globalLock().assertHeld();
    return _engine.screenName();
  }

 private:
  const PelorinClientImpl& _engine;
};

PelorinClientImpl::PelorinClientImpl(PelorinClient& facade)
    : _facade(facade),
      _writer(std::make_unique<PelorinFileWriter>()),
      _operationQueue(std::make_unique<OperationQueue>()),
      _configuration(std::make_unique<PelorinConfiguration>()) {
  const auto start = std::chrono::steady_clock::now();
  _configuration->setSimulatorData(
      PelorinDataManager::loadStringFromFile(Constants::Files::SIMULATOR_USERNAME),
      PelorinDataManager::loadStringFromFile(Constants::Files::SIMULATOR_MOBILESESSION));
  PelorinDataManager::cleanUpFiles();
  _isEnabled =
      PelorinDataManager::loadStringFromFile(Constants::Files::ENABLED).value_or("true") != "false";
  log("Hostname: " + _configuration->getHostName());
  log("App ID: " + PelorinConfiguration::getPackageName());

  auto commitLog = PelorinDataManager::loadFromFile<PelorinCommitLog>(Constants::Files::COMMITLOG);
  _commitLog =
      std::make_unique<PelorinCommitLog>(commitLog ? std::move(*commitLog) : PelorinCommitLog());
  auto requestLog =
      PelorinDataManager::loadFromFile<PelorinCommitLog>(Constants::Files::REQUEST_COMMITLOG);
  _requestCommitLog =
      std::make_unique<PelorinCommitLog>(requestLog ? std::move(*requestLog) : PelorinCommitLog());
  // A cache that cannot be read starts empty: profile reads must always find one.
  auto cache = PelorinDataManager::loadFromFile<PelorinCache>(Constants::Files::CACHE);
  _cache = std::make_unique<PelorinCache>(cache ? std::move(*cache) : PelorinCache());
  // No file means "" (not nothing), so the server's first identifier counts as a change.
  _profileId = PelorinDataManager::loadStringFromFile(Constants::Files::ID).value_or("");

  registerPluginClasses();
  _eventBusLink = std::make_unique<EngineEventBusLink>(*this);
  PelorinEventFactory::getInstance().setClientLink(_eventBusLink.get());

  const std::chrono::duration<double, std::milli> elapsed =
      std::chrono::steady_clock::now() - start;
  log(fmt::format("Create new Pelorin client in ({:.2f} ms)", elapsed.count()));
  log(std::string("Pelorin client is ") + (_isEnabled ? "enabled" : "disabled"));
}

PelorinClientImpl::~PelorinClientImpl() {
  PelorinEventFactory::getInstance().setClientLink(nullptr);
  MutexLock lock(globalLock());
  if (_syncTimerThread != nullptr) _syncTimerThread->cancelTimer(_syncTimer);
}

void PelorinClientImpl::log(const std::string& message, std::string_view flag) const {
  PelorinConfiguration::log(message, LOG_TAG, flag);
}

void PelorinClientImpl::callCompletion(const Completion& completion) {
  if (completion) Platform::current().mainThread().post(completion);
}

bool PelorinClientImpl::canReachServer() const {
  return _isEnabled && PelorinReachability::isConnectedToNetwork();
}

// ---- Profile writes ---------------------------------------------------------------------

void PelorinClientImpl::setProfileValues(const std::string& name,
                                         const std::vector<std::string>& values) {
  if (name.empty() || values.empty()) return;
  if (!isUtf8Change(name, values)) {
    log(std::string(kNotUtf8Change), LogFlag::WARNING);
    return;
  }
  _commitLog->setProperties(name, values);
  // The values without empty texts, in the stored list's own storage: a property set again
  // and again allocates nothing here.
  std::vector<std::string>& stored = _cache->properties[name];
  stored.clear();
  for (const auto& value : values) {
    if (!value.empty()) stored.push_back(value);
  }
  _cache->modified = true;
  _updateRequired = true;
}

void PelorinClientImpl::addProfileValues(const std::string& name,
                                         const std::vector<std::string>& values) {
  if (name.empty() || values.empty()) return;
  if (!isUtf8Change(name, values)) {
    log(std::string(kNotUtf8Change), LogFlag::WARNING);
    return;
  }
  _commitLog->addProperties(name, values);
  _cache->addProperties(name, values);
  _updateRequired = true;
}

void PelorinClientImpl::setProfileValue(const std::string& name, const std::string& value) {
  if (name.empty() || value.empty()) return;
  // The list form with one value, without making the list: the most frequent write.
  if (!isValidUtf8(name) || !isValidUtf8(value)) {
    log(std::string(kNotUtf8Change), LogFlag::WARNING);
    return;
  }
  _commitLog->setProperty(name, value);
  _cache->properties[name].assign(1, value);
  _cache->modified = true;
  _updateRequired = true;
}

void PelorinClientImpl::addProfileValue(const std::string& name, const std::string& value) {
  if (name.empty() || value.empty()) return;
  addProfileValues(name, {value});
}

void PelorinClientImpl::setEnabled(bool enabled) {
  _isEnabled = enabled;
  log(std::string("Pelorin client is ") + (enabled ? "enabled" : "disabled"));
  _writer->writeText(Constants::Files::ENABLED, enabled ? "true" : "false");
}

// ---- The tick and the update cycle ------------------------------------------------------

void PelorinClientImpl::startSyncTimer() {
  _syncTimerThread = &Platform::current().mainThread();
  _syncTimer = _syncTimerThread->scheduleRepeatingTimer(Platform::current().syncInterval(),
                                                        [this] { sync(); });
}

void PelorinClientImpl::sync() {
  MutexLock lock(globalLock());
  if (!_isEnabled) return;
  storeChangedFiles();
  // A request in flight: the next tick sends, so requests never overlap or queue up.
  if (_operationQueue->operationCount() > 0) return;
  if (!_updateRequired) return;
  log("Sync started.");
  sendUpdates(false, nullptr);
}

void PelorinClientImpl::storeChangedFiles() {
  // Only snapshots are taken here, under the global lock: they copy a handle per few
  // hundred entries. The writer thread encodes and writes them.
  auto encoder = [](auto snapshot, std::string_view fileName) {
    return [snapshot = std::move(snapshot), fileName = std::string(fileName)] {
      return PelorinDataManager::encodeForFile(snapshot, fileName);
    };
  };
  // The files are replaced one after the other, so a process killed between two of them
  // leaves some old and some new. The writer's order keeps every change on disk through
  // such a kill: the request log first, since a change moved into it since the last tick is
  // no longer in the new commit log; the cache last, so the device never holds a change
  // that neither log will send (the server's answer brings such a change back instead).
  using Order = PelorinFileWriter::Order;
  if (_commitLog->isModified()) {
    _commitLog->setModified(false);
    _writer->write(std::string(Constants::Files::REQUEST_COMMITLOG), Order::kRequestLog,
                   encoder(_requestCommitLog->snapshot(), Constants::Files::REQUEST_COMMITLOG));
    _writer->write(std::string(Constants::Files::COMMITLOG), Order::kCommitLog,
                   encoder(_commitLog->snapshot(), Constants::Files::COMMITLOG));
  }
  if (_cache->modified) {
    _cache->modified = false;
    _writer->write(std::string(Constants::Files::CACHE), Order::kCache,
                   encoder(PelorinCache(*_cache), Constants::Files::CACHE));
  }
  // A file whose write failed is written again at each tick until it succeeds.
  _writer->retry();
}

PelorinClientImpl::UpdateEntries PelorinClientImpl::takeUpdateEntries() {
  _updateRequired = false;
  _requestCommitLog->merge(*_commitLog);
  // One command per counted event, at most MAX_EVENT_COMMANDS_PER_BATCH in one batch: the
  // rest of the counts stays in the request log for the next batch, so none is lost.
  std::vector<PelorinEventCommitEntry> events;
  _heldBackEvents.clear();
  std::int64_t budget = MAX_EVENT_COMMANDS_PER_BATCH;
  for (const auto& entry : _requestCommitLog->events()) {
    const std::int64_t count = entry.count();
    if (count <= budget || count <= 0) {
      events.push_back(entry);
      if (count > 0) budget -= count;
      continue;
    }
    if (budget > 0) events.emplace_back(entry.type(), entry.identifier(), budget);
    _heldBackEvents.emplace_back(entry.type(), entry.identifier(), count - budget);
    budget = 0;
  }
  return UpdateEntries{
      RequestParameters::fromEntries(_requestCommitLog->getProperties(OperationType::ADD)),
      RequestParameters::fromEntries(_requestCommitLog->getProperties(OperationType::SET)),
      std::move(events)};
}

PelorinClientImpl::Exchange PelorinClientImpl::makeExchange(
    std::vector<PelorinRequestCommand> commands) const {
  Exchange exchange;
  exchange.commands = std::move(commands);
  exchange.userName = _configuration->getSimulatorUsername();
  exchange.mobileSessionId = _configuration->getSimulatorSessionId();
  exchange.url = PelorinConfiguration::getDomaingGroupUrl(_configuration->getHostName(),
                                                          _cache->domainGroup, _zoneId);
  return exchange;
}

void PelorinClientImpl::emptyRequestCommitLog() {
  _requestCommitLog->clearEntries();
  if (!_heldBackEvents.empty()) {
    // The counts the batch left out go with the next one, without waiting for a change.
    for (const auto& entry : _heldBackEvents) {
      _requestCommitLog->updateEvent(entry.type(), entry.identifier(), entry.count());
    }
    _heldBackEvents.clear();
    _updateRequired = true;
  }
  // Have the next tick store the emptied log too, so a restart does not send confirmed
  // changes and counted events a second time.
  _commitLog->setModified(true);
}

void PelorinClientImpl::reapplyPendingChanges(bool withRequestLog) {
  auto apply = [this](const PelorinCommitLog& log) REQUIRES(globalLock()) {
    for (const auto& entry : log.properties()) {
      if (entry.type() == OperationType::SET) {
        _cache->properties[entry.identifier()] = PelorinCache::filterEmpty(entry.values());
        _cache->modified = true;
      } else {
        _cache->addProperties(entry.identifier(), entry.values());
      }
    }
  };
  if (withRequestLog) apply(*_requestCommitLog);
  apply(*_commitLog);
}

void PelorinClientImpl::sendUpdates(bool isPageview, Completion completion) {
  if (!canReachServer()) {
    log("Sync failed! Unable to connect to a network", LogFlag::WARNING);
    callCompletion(completion);
    return;
  }
  _operationQueue->addOperation([this, isPageview, completion = std::move(completion)] {
    std::optional<Exchange> exchange = [&]() -> std::optional<Exchange> {
      MutexLock lock(globalLock());
      UpdateEntries entries = takeUpdateEntries();
      if (entries.empty() && !isPageview) {
        log("Sync successful.");
        return std::nullopt;
      }
      auto commands = PelorinConnector::setUpdateCommand(entries.addProperties,
                                                         entries.setProperties, entries.events);
      if (isPageview) {
        commands.push_back(PelorinConnector::getGetPropertiesCommand(
            rawValue(CallId::getProperties), ProfileHash::getHash(_cache->properties)));
      }
      Exchange prepared = makeExchange(std::move(commands));
      log("Domain group url: " + prepared.url);
      return prepared;
    }();
    if (!exchange) {
      callCompletion(completion);
      return;
    }
    PelorinConnector connector(exchange->userName, exchange->mobileSessionId);
    auto result = connector.execute(exchange->url, exchange->commands, std::nullopt);
    const bool reload = [&] {
      MutexLock lock(globalLock());
      if (result.error) {
        log("Unable to get the interactions from Pelorin, reason: " +
                PelorinConnector::describe(*result.error),
            LogFlag::ERROR);
        log("Sync failed", LogFlag::WARNING);
        return false;
      }
      if (!result.response) {
        log("Unable to get the interactions from Pelorin", LogFlag::WARNING);
        log("Sync failed", LogFlag::WARNING);
        return false;
      }
      const bool changed = processProfileResult(answerOf(result, "0"));
      // Taken as the whole profile, an empty answer to the hash would empty a current device.
      if (JsonRef properties = answerOf(result, "3"); !holdsNoProperties(properties)) {
        processPropertiesResult(properties, false);
      }
      emptyRequestCommitLog();
      // The answer holds the profile as of this batch; changes made since are still due.
      reapplyPendingChanges(false);
      return changed;
    }();
    if (result.response) {
      if (reload) runReloadProfile();
      PelorinClient::synchronized([&] { log("Sync succesful."); });
    }
    callCompletion(completion);
  });
}

void PelorinClientImpl::reloadProfile() {
  if (!canReachServer()) return;
  _operationQueue->addOperation([this] { runReloadProfile(); });
}

void PelorinClientImpl::runReloadProfile() {
  std::optional<std::string> screenName;
  std::optional<Exchange> exchange = [&]() -> std::optional<Exchange> {
    MutexLock lock(globalLock());
    if (!canReachServer()) return std::nullopt;
    std::vector<PelorinRequestCommand> commands{
        PelorinConnector::getProfileCommand(rawValue(CallId::profile)),
        PelorinConnector::getGetPropertiesCommand(rawValue(CallId::getProperties), std::nullopt)};
    if (_configuration->isConnectedToSimulator()) {
      log("Connected with simulator");
      commands.push_back(PelorinConnector::getInteractionCommand(rawValue(CallId::interactions),
                                                                 "PAGEVIEW", std::nullopt));
      screenName = _screenName;
    }
    return makeExchange(std::move(commands));
  }();
  if (!exchange) return;
  PelorinConnector connector(exchange->userName, exchange->mobileSessionId);
  auto result = connector.execute(exchange->url, exchange->commands, screenName);
  {
    MutexLock lock(globalLock());
    if (result.error) {
      log("Unable to reload the profile from Pelorin, reason: " +
              PelorinConnector::describe(*result.error),
          LogFlag::ERROR);
    } else if (!result.response) {
      log("Unable to reload the profile from Pelorin", LogFlag::WARNING);
    } else {
      processProfileResult(answerOf(result, "0"));
      processPropertiesResult(answerOf(result, "3"), false);
      // A change made while the reload ran, or one the server has not confirmed yet, would
      // otherwise vanish from the device until the next page view.
      reapplyPendingChanges(true);
      log("Done reloading");
    }
  }
}

// ---- Events and interactions ------------------------------------------------------------

void PelorinClientImpl::createEvent(const std::string& name, const std::optional<JsonValue>& data,
                                    Completion completion) {
  if (name == "VIEW" || name == "CLICK" || name == "CONVERSION") {
    std::optional<std::string> interactionId;
    if (data) interactionId = data->get("interactionId").asString();
    if (interactionId) {
      if (!isValidUtf8(*interactionId)) {
        log("Event ignored: the interaction identifier is not UTF-8", LogFlag::WARNING);
      } else if (!interactionId->empty()) {
        _commitLog->updateEvent(*eventTypeFromString(name), *interactionId, 1);
        _commitLog->setModified(true);
      }
      _updateRequired = true;
    }
    callCompletion(completion);
    return;
  }
  if (name == "PAGEVIEW") {
    destroyPlugins();
    if (auto screenName = getScreenNameFromProperties(data)) {
      _screenName = *screenName;
      log("Screen name: " + _screenName);
    }
    getInteractions("PAGEVIEW", _context, _screenName, data, std::move(completion));
    return;
  }
  getInteractions(name, _context, _screenName, data, std::move(completion));
}

std::optional<std::string> PelorinClientImpl::getScreenNameFromProperties(
    const std::optional<JsonValue>& properties) {
  // Data that is not an object is no map at all.
  if (!properties || !properties->isObject()) return std::nullopt;
  std::optional<std::string> name;
  JsonRef screenName = properties->get("screenName");
  if (screenName.isString() && !screenName.stringView().empty()) {
    name = screenName.string();
  } else {
    name = properties->get("location").asString();
  }
  if (name) {
    if (!name->empty() && name->front() == '/') name->erase(0, 1);
    return name;
  }
  auto controller = _context.lock();
  if (!controller) return std::nullopt;
  std::string title = controller->title().value_or("");
  log("There is no screen name set to the properties! Using the title '" + title + "' instead.",
      LogFlag::WARNING);
  return title;
}

void PelorinClientImpl::getInteractions(const std::string& eventName,
                                        const std::weak_ptr<platform::ViewController>& context,
                                        const std::string& screenName,
                                        const std::optional<JsonValue>& properties,
                                        Completion completion) {
  const bool isPageview = eventName == "PAGEVIEW";
  _operationQueue->addOperation([this, eventName, context, screenName, properties, isPageview,
                                 completion = std::move(completion)] {
    std::optional<Exchange> exchange = [&]() -> std::optional<Exchange> {
      MutexLock lock(globalLock());
      if (!canReachServer()) return std::nullopt;
      std::vector<PelorinRequestCommand> commands;
      if (isPageview) {
        UpdateEntries entries = takeUpdateEntries();
        const std::string hash = ProfileHash::getHash(_cache->properties);
        PelorinEventFactory::getInstance().clearEvents();
        commands = PelorinConnector::setUpdateCommand(entries.addProperties, entries.setProperties,
                                                      entries.events);
        commands.push_back(
            PelorinConnector::getGetPropertiesCommand(rawValue(CallId::getProperties), hash));
      } else if (properties && properties->contains("context")) {
        JsonRef value = properties->get("context");
        std::optional<std::vector<std::string>> eventContext = value.asStringList();
        if (!eventContext && value.isString())
          eventContext = std::vector<std::string>{value.string()};
        PelorinEventFactory::getInstance().publish(
            std::make_shared<AdvancedEvent>(eventName, std::move(eventContext)));
      }
      commands.push_back(PelorinConnector::getInteractionCommand(rawValue(CallId::interactions),
                                                                 eventName, properties));
      Exchange prepared = makeExchange(std::move(commands));
      log("Domaingroup URL: " + prepared.url);
      return prepared;
    }();
    if (!exchange) {
      callCompletion(completion);
      return;
    }
    PelorinConnector connector(exchange->userName, exchange->mobileSessionId);
    auto result = connector.execute(exchange->url, exchange->commands, screenName);
    const bool reload = [&] {
      MutexLock lock(globalLock());
      if (result.error) {
        log("Unable to get the interactions from Pelorin, reason: " +
                PelorinConnector::describe(*result.error),
            LogFlag::ERROR);
        return false;
      }
      if (!result.response) {
        log("Unable to get interactions from Pelorin", LogFlag::WARNING);
        return false;
      }
      bool changed = false;
      if (isPageview) {
        changed = processProfileResult(answerOf(result, "0"));
        processPropertiesResult(answerOf(result, "3"), true);
        processConnectionsResult(answerOf(result, "4"));
        processSegmentsResult(answerOf(result, "4"));
      }
      processInteractionsResult(context, answerOf(result, "4"), isPageview);
      if (isPageview) {
        emptyRequestCommitLog();
        reapplyPendingChanges(false);
      }
      return changed;
    }();
    if (reload) runReloadProfile();
    callCompletion(completion);
  });
}

std::shared_ptr<platform::View> PelorinClientImpl::getView(
    const std::optional<std::string>& selector) {
  if (!selector || selector->empty() || selector->front() != '#') return nullptr;
  auto controller = _context.lock();
  if (!controller) return nullptr;
  return controller->viewForProperty(std::string_view(*selector).substr(1));
}

}  // namespace pelorin
