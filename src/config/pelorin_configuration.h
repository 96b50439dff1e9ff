// Settings from the application's information dictionary, the log line format, the
// server's remote-procedure-call address and server-style parameter lists.
//
// Thread safety: the static operations may be called from any thread; they read the
// dictionary anew on every call. An instance is owned by the engine and guarded by the
// global lock.
#ifndef PELORIN_SRC_CONFIG_PELORIN_CONFIGURATION_H_
#define PELORIN_SRC_CONFIG_PELORIN_CONFIGURATION_H_

#include <concepts>
#include <optional>
#include <string>
#include <string_view>

#include "pelorin/json_value.h"
#include "pelorin/pelorin_types.h"

namespace pelorin {

// Log levels ("flags") and tags used across the library.
struct LogFlag {
  static constexpr std::string_view INFO = "INFO";
  static constexpr std::string_view WARNING = "WARNING";
  static constexpr std::string_view ERROR = "ERROR";
};

class PelorinConfiguration {
 public:
  static constexpr std::string_view LOG_TAG = "PL_CLIENT";

  // The server base address: the overrule host name when set, else "pl_server_url"
  // without one trailing "/" ("" when absent or not a string).
  std::string getHostName() const;

  void setHostName(std::optional<std::string> hostName) { _overruleHostname = std::move(hostName); }
  void setSimulatorData(std::optional<std::string> userName,
                        std::optional<std::string> mobileSessionId) {
    _userName = std::move(userName);
    _mobileSessionId = std::move(mobileSessionId);
  }
  const std::optional<std::string>& getSimulatorUsername() const { return _userName; }
  const std::optional<std::string>& getSimulatorSessionId() const { return _mobileSessionId; }
  const std::optional<std::string>& getOverruleHostname() const { return _overruleHostname; }
  bool isConnectedToSimulator() const { return _userName && _mobileSessionId; }

  // "pl_debug" from the information dictionary; false when absent or not a boolean.
  static bool getDebugMode();

  // Writes "[yyyy-MM-dd HH:mm:ss] FLAG [TAG]: message" to the console when debug mode is on.
  static void log(std::string_view message, std::string_view tag, std::string_view flag);

  // As above, building the message only when debug mode is on.
  template <typename F>
  requires std::invocable<F>
  static void log(F&& makeMessage, std::string_view tag, std::string_view flag) {
    if (!getDebugMode()) return;
    writeLogLine(std::forward<F>(makeMessage)(), tag, flag);
  }

  // "CFBundleIdentifier", percent-encoded for a URL fragment; "" when absent.
  static std::string getPackageName();

  // host + "/DG/" + (domainGroup or "DEFAULT") + "/rest/rpc/json/" + (zoneId + "/") + "?".
  static std::string getDomaingGroupUrl(std::string_view host,
                                        const std::optional<std::string>& domainGroup,
                                        const std::optional<std::string>& zoneId);

  // Turns a list of {"id": string, "value": [string]} objects into a map. A missing or
  // mistyped id counts as "", a missing or mistyped value list as empty; later ids win.
  static Parameters parametersToDictionary(JsonRef list);

  // The current local time as "yyyy-MM-dd HH:mm:ss".
  static std::string printDate();

 private:
  static void writeLogLine(std::string_view message, std::string_view tag, std::string_view flag);

  std::optional<std::string> _mobileSessionId;
  std::optional<std::string> _userName;
  std::optional<std::string> _overruleHostname;
};

// Percent-encodes every byte outside RFC 3986's fragment characters (letters, digits,
// "-._~!$&'()*+,;=:@/?").
std::string percentEncodeFragment(std::string_view text);
// Percent-encodes the control characters (bytes below 0x20, and 0x7F) and nothing else:
// what goes into a header, a path or a query must not end the line it is on.
std::string percentEncodeControls(std::string_view text);
// Percent-encodes every byte that cannot stand in a query value as it is: all but letters,
// digits and "-._~!$'()*,;:@/?" ("&", "=", "+", "#" and "%" included).
std::string percentEncodeQueryValue(std::string_view text);

}  // namespace pelorin

#endif  // PELORIN_SRC_CONFIG_PELORIN_CONFIGURATION_H_
