// The interfaces through which the library reaches the operating system and the host
// application. Implementations must be safe to call from any thread.
#ifndef PELORIN_PLATFORM_SERVICES_H_
#define PELORIN_PLATFORM_SERVICES_H_

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "pelorin/export.h"
#include "pelorin/json_value.h"

namespace pelorin::platform {

// The application's information dictionary: "pl_server_url", "pl_debug",
// "CFBundleIdentifier", "CFBundleExecutable", "CFBundleDisplayName", ...
class PELORIN_EXPORT Bundle {
 public:
  virtual ~Bundle() = default;
  // The whole dictionary, or nothing when the application has none.
  virtual std::optional<JsonValue> infoDictionary() const = 0;
  // One entry of the dictionary; nothing when it is absent or there is no dictionary.
  virtual std::optional<JsonValue> objectForInfoDictionaryKey(std::string_view key) const = 0;
};

// Wall-clock time broken down in the device's time zone.
struct PELORIN_EXPORT LocalTime {
  int year = 1970;
  int month = 1;  // 1-12
  int day = 1;    // 1-31
  int hour = 0;   // 0-23
  int minute = 0;
  int second = 0;
  int utcOffsetSeconds = 0;  // east of UTC is positive
};

// Time, calendar and locale of the device.
class PELORIN_EXPORT Clock {
 public:
  using TimePoint = std::chrono::system_clock::time_point;
  virtual ~Clock() = default;
  virtual TimePoint now() const = 0;
  // `time` in the device's current time zone.
  virtual LocalTime toLocal(TimePoint time) const = 0;
  // The current locale's identifier, e.g. "en_US".
  virtual std::string localeIdentifier() const = 0;
};

// The device the app runs on. The screen is the `Ui` service's and the locale the `Clock`'s.
class PELORIN_EXPORT Device {
 public:
  virtual ~Device() = default;
  // The operating system's name and version, e.g. "iOS" and "17.4", or "Linux" and "6.1.0".
  virtual std::string systemName() const = 0;
  virtual std::string systemVersion() const = 0;
  // The hardware model identifier, e.g. "iPhone10,3", or "x86_64" on a PC.
  virtual std::string hardwareModel() const = 0;
  // The advertising identifier as UUID text; nothing when the device has none. A device
  // whose user limited ad tracking answers "00000000-0000-0000-0000-000000000000".
  virtual std::optional<std::string> advertisingIdentifier() const = 0;
};

// Where log lines go. Each call is one complete line, without its terminator.
class PELORIN_EXPORT Console {
 public:
  virtual ~Console() = default;
  virtual void writeLine(std::string_view line) = 0;
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_SERVICES_H_
