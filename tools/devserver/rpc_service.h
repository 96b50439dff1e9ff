// The reference server's side of the client protocol, without HTTP: takes one batch of
// remote-procedure-call commands (the POST body) with the visitor's cookie and answers it,
// keeping profiles, properties and event counters in memory.
//
// Thread safety: every member may be called from any thread; one mutex guards the state.
#ifndef PELORIN_TOOLS_DEVSERVER_RPC_SERVICE_H_
#define PELORIN_TOOLS_DEVSERVER_RPC_SERVICE_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "devserver/derived_values.h"
#include "pelorin/json_value.h"
#include "pelorin/pelorin_types.h"

namespace pelorin::devserver {

// The cookie by which the server recognises a visitor; its value is the profile id.
inline constexpr std::string_view kVisitorCookie = "pl_profile";

// One POST to "/DG/<domain group>/rest/rpc/json/[<zone>/]".
struct RpcRequest {
  std::string domainGroup;
  std::optional<std::string> zone;
  // The value of the visitor cookie, when the client sent one.
  std::optional<std::string> visitorCookie;
  // The "referer" header: "app://<package>/<screen name>".
  std::string referer;
  std::string body;
};

struct RpcReply {
  int status = 200;
  std::string contentType = "application/json";
  std::string body;
  // A "Set-Cookie" value to send (the visitor cookie of a profile created or switched to).
  std::optional<std::string> setCookie;
};

// What the interactions request of one event ("createEvent" without an interaction) asks.
struct PageView {
  std::string profileId{};                     // "" when the batch has no profile
  std::string eventType{};                     // "PAGEVIEW", or the name of another event
  std::string screenName{};                    // from the "referer" header; "" when it names none
  std::optional<JsonValue> timelineContext{};  // the decoded "timelineContext", if sent
  // The profile's properties when the request is answered: after the property commands
  // that came earlier in the same batch. Empty when the batch has no profile.
  Parameters properties{};
};

// Decides the "result" of an interactions request: its "interactions", "segments" and
// "connections". `ConfigScreenContent` (config_screen_content.h) answers from a
// configuration.
class ScreenContent {
 public:
  virtual ~ScreenContent() = default;
  virtual JsonValue resultFor(const PageView& pageView) const = 0;
};

// {"interactions":[],"segments":[],"connections":[]} for every screen.
class EmptyScreenContent : public ScreenContent {
 public:
  JsonValue resultFor(const PageView& pageView) const override;
};

class RpcService {
 public:
  struct Options {
    // The domain group that "getProfile" reports; by default the one in the request path.
    std::optional<std::string> domainGroupId{};
    // The zone that "getProfile" reports; by default the one in the request path (none
    // when the path has none, and then "zoneId" is left out).
    std::optional<std::string> zoneId{};
    // Wrap every answer as "pl_json(" + array + ")".
    bool wrapInPlJson = false;
    // How the visible value of a property is derived when its hidden companion ("_" +
    // name) receives values (derived_values.h).
    DerivedValues::Options derivedValues{};
  };

  explicit RpcService(Options options);
  RpcService(Options options, std::unique_ptr<ScreenContent> screenContent);

  // Answers one batch. A body that is not a JSON array of commands gets status 400.
  RpcReply handle(const RpcRequest& request);

  void setWrapInPlJson(bool wrap);

  // --- Inspection and seeding, for tests and tools ---------------------------------------
  std::vector<std::string> profileIds() const;
  bool hasProfile(const std::string& profileId) const;
  // A new, empty profile; its id.
  std::string createProfile();
  // Forgets a profile, as when the platform removes a visitor: a client that still sends its
  // cookie gets a new profile (and a new id) from its next "getProfile" with "forceCreate".
  // False when there is no such profile.
  bool forgetProfile(const std::string& profileId);
  // The properties of a profile; nothing when there is no such profile.
  std::optional<Parameters> properties(const std::string& profileId) const;
  // Replaces one property of an existing profile (false when there is no such profile).
  bool setProperty(const std::string& profileId, const std::string& name,
                   std::vector<std::string> values);
  // "createEvent" commands counted for an interaction and event type: of one profile, or of
  // all profiles.
  std::int64_t eventCount(const std::string& profileId, const std::string& interactionId,
                          const std::string& type) const;
  std::int64_t eventCount(const std::string& interactionId, const std::string& type) const;
  // Interactions requests seen, by event type and screen name.
  std::int64_t pageViewCount(const std::string& eventType, const std::string& screenName) const;

  // The screen name in a "referer" of the form "app://<package>/<screen>": everything after
  // the first "/" that follows the package; "" when there is none.
  static std::string screenNameFromReferer(std::string_view referer);

 private:
  struct Profile {
    Parameters properties;
    // (interaction id, event type) -> count
    std::map<std::pair<std::string, std::string>, std::int64_t> eventCounts;
  };
  struct BatchState;

  JsonValue answer(const JsonRef& command, BatchState& batch);
  JsonValue getProfile(const JsonRef& params, BatchState& batch);
  JsonValue getProperties(const JsonRef& params, BatchState& batch);
  JsonValue changeProperties(const JsonRef& params, BatchState& batch, bool add);
  JsonValue createEvent(const JsonRef& params, BatchState& batch);
  std::string newProfileId();

  const Options _options;
  const std::unique_ptr<ScreenContent> _screenContent;
  const DerivedValues _derivedValues;

  mutable std::mutex _mutex;
  bool _wrapInPlJson;                                                      // guarded by _mutex
  std::map<std::string, Profile> _profiles;                                // guarded by _mutex
  std::map<std::pair<std::string, std::string>, std::int64_t> _pageViews;  // by _mutex
  std::uint64_t _profileSerial = 0;                                        // guarded by _mutex
};

}  // namespace pelorin::devserver

#endif  // PELORIN_TOOLS_DEVSERVER_RPC_SERVICE_H_
