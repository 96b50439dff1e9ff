// The engine behind `PelorinClient`: the visitor's state, the two commit logs, the request
// cycle with the server, and the plug-ins of the current screen.
//
// Thread safety: the state is guarded by the global lock (`globalLock()`, the lock behind
// `PelorinClient::synchronized`); the methods that need it say so. Network exchanges run on
// the engine's operation queue, outside the lock; files are written by the engine's writer
// thread from snapshots.
#ifndef PELORIN_SRC_CLIENT_PELORIN_CLIENT_IMPL_H_
#define PELORIN_SRC_CLIENT_PELORIN_CLIENT_IMPL_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "client/operation_queue.h"
#include "client/plugin_registry.h"
#include "config/pelorin_configuration.h"
#include "pelorin/json_value.h"
#include "pelorin/pelorin_plugin.h"
#include "pelorin/pelorin_segment.h"
#include "pelorin/platform/main_thread.h"
#include "protocol/pelorin_request_command.h"
#include "storage/pelorin_cache.h"
#include "storage/pelorin_commit_log.h"
#include "storage/pelorin_file_writer.h"

namespace pelorin {

namespace platform {
class View;
class ViewController;
}  // namespace platform

class PelorinClient;
class EngineEventBusLink;

class PelorinClientImpl {
 public:
  using Completion = std::function<void()>;
  static constexpr std::string_view LOG_TAG = "PL_CLIENT";
  // The most "createEvent" commands one batch carries; the rest of the counts stay in the
  // request log and go with the next batch. Keeps a batch's memory bounded.
  static constexpr std::int64_t MAX_EVENT_COMMANDS_PER_BATCH = 10000;

  // Loads the state files and registers the built-in plug-in classes. `facade` is the
  // client that plug-ins receive.
  explicit PelorinClientImpl(PelorinClient& facade);
  ~PelorinClientImpl();
  PelorinClientImpl(const PelorinClientImpl&) = delete;
  PelorinClientImpl& operator=(const PelorinClientImpl&) = delete;

  // Profile writes: recorded in the commit log and the cache at once, sent at the next tick.
  void setProfileValues(const std::string& name, const std::vector<std::string>& values)
      REQUIRES(globalLock());
  void addProfileValues(const std::string& name, const std::vector<std::string>& values)
      REQUIRES(globalLock());
  void setProfileValue(const std::string& name, const std::string& value) REQUIRES(globalLock());
  void addProfileValue(const std::string& name, const std::string& value) REQUIRES(globalLock());

  void setEnabled(bool enabled) REQUIRES(globalLock());
  // Has the main thread call sync() every sync interval until the engine is destroyed.
  void startSyncTimer() REQUIRES(globalLock());
  // The periodic tick: hands snapshots of the changed state to the writer thread and sends
  // pending updates. Takes the lock itself.
  void sync();
  // Connects to the simulator named by a deep link; true when connected.
  bool setURL(std::string_view url) REQUIRES(globalLock());

  void createEvent(const std::string& name, const std::optional<JsonValue>& data,
                   Completion completion) REQUIRES(globalLock());
  void sendUpdates(bool isPageview, Completion completion) REQUIRES(globalLock());
  // Fetches the whole profile again (on the operation queue).
  void reloadProfile() REQUIRES(globalLock());
  void getInteractions(const std::string& eventName,
                       const std::weak_ptr<platform::ViewController>& context,
                       const std::string& screenName, const std::optional<JsonValue>& properties,
                       Completion completion) REQUIRES(globalLock());
  std::optional<std::string> getScreenNameFromProperties(const std::optional<JsonValue>& properties)
      REQUIRES(globalLock());

  // Result processing, in the order the engine applies it.
  bool processProfileResult(JsonRef result) REQUIRES(globalLock());
  void processPropertiesResult(JsonRef result, bool isUpdate) REQUIRES(globalLock());
  void processConnectionsResult(JsonRef result) REQUIRES(globalLock());
  void processSegmentsResult(JsonRef result) REQUIRES(globalLock());
  void processInteractionsResult(const std::weak_ptr<platform::ViewController>& context,
                                 JsonRef result, bool isPageview) REQUIRES(globalLock());
  // NOLINTNEXTLINE(readability-identifier-naming): the engine's own name for this step
  bool _updateProfileId(const std::optional<std::string>& profileId) REQUIRES(globalLock());
  // NOLINTNEXTLINE(readability-identifier-naming): the engine's own name for this step
  void _updateZoneId(const std::optional<std::string>& zoneId) REQUIRES(globalLock());

  // Plug-ins.
  void registerPluginClasses() REQUIRES(globalLock());
  void registerPluginClass(const PluginClass& pluginClass, const std::string& className)
      REQUIRES(globalLock());
  std::vector<std::shared_ptr<PelorinPlugin>> getRegisteredPluginInteractions(JsonRef interactions)
      REQUIRES(globalLock());
  void loadPlugins(const std::vector<std::shared_ptr<PelorinPlugin>>& plugins, bool isPageview)
      REQUIRES(globalLock());
  void destroyPlugins() REQUIRES(globalLock());

  // The view named by "#" + a property of the current view controller.
  std::shared_ptr<platform::View> getView(const std::optional<std::string>& selector)
      REQUIRES(globalLock());

  // State read by the facade.
  const std::optional<std::string>& profileId() const REQUIRES(globalLock()) { return _profileId; }
  const std::optional<std::string>& zoneId() const REQUIRES(globalLock()) { return _zoneId; }
  const PelorinCache& cache() const REQUIRES(globalLock()) { return *_cache; }
  bool isEnabled() const REQUIRES(globalLock()) { return _isEnabled; }
  bool updateRequired() const REQUIRES(globalLock()) { return _updateRequired; }
  const std::string& screenName() const REQUIRES(globalLock()) { return _screenName; }
  void setLocale(std::optional<std::string> locale) REQUIRES(globalLock()) {
    _locale = std::move(locale);
  }
  const std::vector<PelorinSegment>& segments() const REQUIRES(globalLock()) { return _segments; }
  const std::vector<Connection>& connections() const REQUIRES(globalLock()) { return _connections; }
  std::shared_ptr<platform::ViewController> viewController() const REQUIRES(globalLock()) {
    return _context.lock();
  }
  void setViewController(std::weak_ptr<platform::ViewController> context) REQUIRES(globalLock()) {
    _context = std::move(context);
  }
  const PelorinConfiguration& configuration() const REQUIRES(globalLock()) {
    return *_configuration;
  }
  const PelorinCommitLog& commitLog() const REQUIRES(globalLock()) { return *_commitLog; }
  const PelorinCommitLog& requestCommitLog() const REQUIRES(globalLock()) {
    return *_requestCommitLog;
  }
  const std::vector<std::shared_ptr<PelorinPlugin>>& currentPlugins() const REQUIRES(globalLock()) {
    return _currentPlugins;
  }
  const PluginRegistry& plugins() const REQUIRES(globalLock()) { return _plugins; }
  // Operations queued or running on the engine's queue.
  std::size_t pendingOperations() const { return _operationQueue->operationCount(); }
  // Blocks until the engine's queue is idle. For tests and hosts that shut down in order;
  // never under the lock, which the operations take.
  void waitForOperations() const EXCLUDES(globalLock()) {
    _operationQueue->waitUntilAllOperationsAreFinished();
  }
  // Blocks until the files asked for so far have been written (or failed). For tests,
  // benchmarks and hosts that shut down in order.
  void waitForWrites() const { _writer->waitUntilIdle(); }

 private:
  // A batch ready to send, made under the lock and sent outside it.
  struct Exchange {
    std::vector<PelorinRequestCommand> commands;
    std::string url;
    std::optional<std::string> userName;
    std::optional<std::string> mobileSessionId;
  };
  struct UpdateEntries {
    RequestParameters addProperties;
    RequestParameters setProperties;
    std::vector<PelorinEventCommitEntry> events;
    bool empty() const { return addProperties.empty() && setProperties.empty() && events.empty(); }
  };

  void log(const std::string& message, std::string_view flag = LogFlag::INFO) const;
  // Hands snapshots of the changed logs and cache to the writer, and has it retry files
  // whose last write failed.
  void storeChangedFiles() REQUIRES(globalLock());
  static void callCompletion(const Completion& completion);
  bool canReachServer() const REQUIRES(globalLock());
  // Moves the pending changes into the request log and takes its entries.
  UpdateEntries takeUpdateEntries() REQUIRES(globalLock());
  Exchange makeExchange(std::vector<PelorinRequestCommand> commands) const REQUIRES(globalLock());
  void emptyRequestCommitLog() REQUIRES(globalLock());
  // After an answer that wrote the profile into the cache: applies again the changes the
  // server has not confirmed yet (the request log's when `withRequestLog`, then the commit
  // log's), so a change made while the exchange ran is not undone by its answer.
  void reapplyPendingChanges(bool withRequestLog) REQUIRES(globalLock());
  // The body of a profile reload; called on the operation queue. Takes the lock itself.
  void runReloadProfile();

  PelorinClient& _facade;
  // Writes every file after start-up, off the caller's thread.
  std::unique_ptr<PelorinFileWriter> _writer;
  std::unique_ptr<PelorinCommitLog> _commitLog PT_GUARDED_BY(globalLock());
  std::unique_ptr<PelorinCommitLog> _requestCommitLog PT_GUARDED_BY(globalLock());
  std::unique_ptr<PelorinCache> _cache PT_GUARDED_BY(globalLock());
  bool _isEnabled GUARDED_BY(globalLock()) = true;
  std::optional<std::string> _profileId GUARDED_BY(globalLock());
  std::optional<std::string> _zoneId GUARDED_BY(globalLock());
  std::unique_ptr<OperationQueue> _operationQueue;
  bool _updateRequired GUARDED_BY(globalLock()) = true;
  std::vector<std::shared_ptr<PelorinPlugin>> _currentPlugins GUARDED_BY(globalLock());
  PluginRegistry _plugins GUARDED_BY(globalLock());
  std::vector<Connection> _connections GUARDED_BY(globalLock());
  std::vector<PelorinSegment> _segments GUARDED_BY(globalLock());
  std::weak_ptr<platform::ViewController> _context GUARDED_BY(globalLock());
  std::optional<std::string> _locale GUARDED_BY(globalLock());
  std::string _screenName GUARDED_BY(globalLock());
  std::unique_ptr<PelorinConfiguration> _configuration PT_GUARDED_BY(globalLock());
  std::unique_ptr<EngineEventBusLink> _eventBusLink;
  // The event counts of the request log that the batch in flight leaves for the next one
  // (beyond MAX_EVENT_COMMANDS_PER_BATCH). Set when a batch is prepared, used when its
  // answer empties the request log; batches run one at a time on the operation queue.
  std::vector<PelorinEventCommitEntry> _heldBackEvents GUARDED_BY(globalLock());
  // The repeating sync timer and the main thread it runs on, once started.
  platform::MainThread* _syncTimerThread GUARDED_BY(globalLock()) = nullptr;
  platform::TimerId _syncTimer GUARDED_BY(globalLock());
};

}  // namespace pelorin

#endif  // PELORIN_SRC_CLIENT_PELORIN_CLIENT_IMPL_H_
