// The Pelorin client: the one object an application talks to.
//
//   auto& client = pelorin::PelorinClient::getInstance();
//   client.setProfileValue("city", "Utrecht");                 // recorded now, sent at the next
//   tick client.createEvent("PAGEVIEW", {{"screenName", "home"}});  // asks for the screen's
//   plug-ins std::string city = client.getProfileValue("city");         // read from the local
//   cache
//
// Thread safety: every operation may be called from any thread. Each runs under the
// library's global lock (`synchronized`) and returns without waiting for the network;
// completion callbacks run later on the platform's main thread. Calls nested inside
// `synchronized` (for example from a plug-in) run inline and cannot dead-lock.
#ifndef PELORIN_PELORIN_CLIENT_H_
#define PELORIN_PELORIN_CLIENT_H_

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pelorin/export.h"
#include "pelorin/json_value.h"
#include "pelorin/pelorin_plugin.h"
#include "pelorin/pelorin_segment.h"

namespace pelorin {

namespace platform {
class View;
class ViewController;
}  // namespace platform

class PelorinClientImpl;

class PELORIN_EXPORT PelorinClient {
 public:
  using Completion = std::function<void()>;

  // The client of the process, created on first use together with its engine and its
  // repeating sync timer. It lives as long as the process.
  static PelorinClient& getInstance();
  // As above; a given view controller becomes the current screen (held weakly).
  static PelorinClient& getInstance(const std::shared_ptr<platform::ViewController>& context);

  // The visitor's identifier issued by the server; "" before the first answer.
  std::optional<std::string> getProfileId();
  // The first value of a property in the local cache; "" when missing or without values.
  std::string getProfileValue(std::string_view name);
  // The values of a property in the local cache; nothing when missing.
  std::optional<std::vector<std::string>> getProfileValues(std::string_view name);
  // Replace a property's values. Ignored for an empty name or an empty value (list).
  void setProfileValue(const std::string& name, const std::string& value);
  void setProfileValues(const std::string& name, const std::vector<std::string>& values);
  // Append values a property does not hold yet. Ignored for an empty name or value (list).
  void addProfileValue(const std::string& name, const std::string& value);
  void addProfileValues(const std::string& name, const std::vector<std::string>& values);

  // Privacy vocabulary, kept as ordinary profile properties.
  std::optional<std::string> getPrivacyLegislation();
  void setPrivacyLegislation(const std::string& legislation);
  std::optional<std::vector<std::string>> getConsentedObjectives();
  std::optional<std::vector<std::string>> getRefusedObjectives();
  void setConsentedObjectives(const std::vector<std::string>& objectives);
  void setRefusedObjectives(const std::vector<std::string>& objectives);
  void addConsentedObjective(const std::string& objective);
  void addRefusedObjective(const std::string& objective);

  // The locale in which plug-ins receive their parameters.
  void setLocale(const std::string& locale);
  // Switches the client on or off (remembered across launches). Off, nothing is sent and
  // events are ignored; profile reads and writes still work locally.
  void setEnabled(bool enabled);
  bool isEnabled();
  // The screen name of the last page view; "" before the first.
  std::string getScreenName();

  // Connects to the Pelorin Simulator through a deep link the app received,
  // "<bundle identifier>://<host>/<user name>/<mobile session>"; true when connected
  // (false, and nothing changes, for any other link or while disabled).
  bool setURL(std::string_view url);

  // Events: "PAGEVIEW" (with "screenName" or "location"), "VIEW", "CLICK", "CONVERSION"
  // (with "interactionId"), or any other name. `data` is a JSON object or nothing.
  void createEvent(const std::string& name, const std::optional<JsonValue>& data = std::nullopt,
                   Completion completion = nullptr);
  void createEvent(const std::string& name, const std::map<std::string, std::string>& properties,
                   Completion completion = nullptr);
  // Braced texts: `createEvent("x", {{"screenName", "home"}})`; `createEvent("x", {})` has
  // no data.
  void createEvent(const std::string& name,
                   std::initializer_list<std::pair<const std::string, std::string>> properties,
                   Completion completion = nullptr);

  // A page-view style sync that always asks for the profile's properties.
  void updateProfile(Completion completion = nullptr);

  // Registers a plug-in class under its name.
  void registerPluginClass(const PluginClass& pluginClass);
  void registerPluginClass(const PluginClass& pluginClass, const std::string& className);

  // Segments and connections of the last page view.
  bool hasSegment(std::string_view segmentId);
  std::vector<PelorinSegment> getSegments();
  std::vector<Connection> getConnections();

  // The current screen's view controller, while it exists.
  std::shared_ptr<platform::ViewController> getViewController();
  // The view held by the current view controller's property named by "#" + name.
  std::shared_ptr<platform::View> getView(std::string_view selector);

  // Runs `callback` exclusively with respect to every other `synchronized` call of the
  // process, on the calling thread, and returns what it returns. A callback that calls
  // `synchronized` again runs the inner callback at once (the lock is reentrant).
  //
  //   int size = pelorin::PelorinClient::synchronized([&] { return queue.size(); });
  template <typename F>
  static decltype(auto) synchronized(F&& callback) {
    const SynchronizedScope scope;
    return std::forward<F>(callback)();
  }

  PelorinClient(const PelorinClient&) = delete;
  PelorinClient& operator=(const PelorinClient&) = delete;

 private:
  // Holds the library's global lock while it lives.
  class SynchronizedScope {
   public:
    SynchronizedScope();
    ~SynchronizedScope();
    SynchronizedScope(const SynchronizedScope&) = delete;
    SynchronizedScope& operator=(const SynchronizedScope&) = delete;
  };
  // The library's test support (a private header) reaches the engine and resets the client.
  friend class ClientTesting;

  PelorinClient();
  ~PelorinClient() = default;

  PelorinClientImpl* _engine = nullptr;
};

}  // namespace pelorin

#endif  // PELORIN_PELORIN_CLIENT_H_
