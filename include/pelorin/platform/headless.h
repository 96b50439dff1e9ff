// Ready-made implementations of the platform services for Linux hosts, tests and the demo.
// Every class here is safe to use from several threads.
#ifndef PELORIN_PLATFORM_HEADLESS_H_
#define PELORIN_PLATFORM_HEADLESS_H_

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "pelorin/export.h"
#include "pelorin/platform/file_system.h"
#include "pelorin/platform/services.h"

namespace pelorin::platform {

// An information dictionary held in memory; it may be changed while the library runs.
class PELORIN_EXPORT HeadlessBundle : public Bundle {
 public:
  // A bundle with an empty dictionary.
  HeadlessBundle();
  // A bundle with `dictionary` (expected to be an object), or with none for nothing.
  explicit HeadlessBundle(std::optional<JsonValue> dictionary);
  // Reads the dictionary from a JSON file; nothing when it cannot be read or is not an object.
  static std::unique_ptr<HeadlessBundle> fromFile(const std::filesystem::path& path);

  std::optional<JsonValue> infoDictionary() const override;
  std::optional<JsonValue> objectForInfoDictionaryKey(std::string_view key) const override;

  void set(std::string_view key, JsonValue value);
  void erase(std::string_view key);
  void setDictionary(std::optional<JsonValue> dictionary);

 private:
  mutable std::mutex _mutex;
  std::optional<JsonValue> _dictionary;
};

// The system clock, the TZ database's local time and the locale named by LC_ALL/LANG.
class PELORIN_EXPORT SystemClock : public Clock {
 public:
  TimePoint now() const override;
  LocalTime toLocal(TimePoint time) const override;
  std::string localeIdentifier() const override;
};

// A clock that stands still until it is moved: for tests and reproducible runs. Local
// time is the pinned instant shifted by a fixed UTC offset.
class PELORIN_EXPORT PinnedClock : public Clock {
 public:
  explicit PinnedClock(TimePoint time = TimePoint(), int utcOffsetSeconds = 0,
                       std::string locale = "en_US");

  TimePoint now() const override;
  LocalTime toLocal(TimePoint time) const override;
  std::string localeIdentifier() const override;

  void set(TimePoint time);
  void advance(std::chrono::milliseconds by);
  void setUtcOffset(int seconds);
  void setLocale(std::string locale);

 private:
  mutable std::mutex _mutex;
  TimePoint _time;
  int _utcOffsetSeconds;
  std::string _locale;
};

// The machine this process runs on, as uname(2) reports it: the kernel's name and release
// as system name and version, the machine field (e.g. "x86_64") as hardware model. It has
// no advertising identifier.
class PELORIN_EXPORT PosixDevice : public Device {
 public:
  std::string systemName() const override;
  std::string systemVersion() const override;
  std::string hardwareModel() const override;
  std::optional<std::string> advertisingIdentifier() const override;
};

// A device described by the host or a test; every value may be changed while the library
// runs.
class PELORIN_EXPORT HeadlessDevice : public Device {
 public:
  HeadlessDevice(std::string systemName, std::string systemVersion, std::string hardwareModel,
                 std::optional<std::string> advertisingIdentifier = std::nullopt);

  std::string systemName() const override;
  std::string systemVersion() const override;
  std::string hardwareModel() const override;
  std::optional<std::string> advertisingIdentifier() const override;

  void setSystemName(std::string name);
  void setSystemVersion(std::string version);
  void setHardwareModel(std::string model);
  void setAdvertisingIdentifier(std::optional<std::string> identifier);

 private:
  mutable std::mutex _mutex;
  std::string _systemName;
  std::string _systemVersion;
  std::string _hardwareModel;
  std::optional<std::string> _advertisingIdentifier;
};

// Writes each line to standard output and flushes it.
class PELORIN_EXPORT StdoutConsole : public Console {
 public:
  void writeLine(std::string_view line) override;

 private:
  std::mutex _mutex;
};

// Files on a POSIX system. The documents folder is the one given at construction or, by
// default, $XDG_DATA_HOME (or ~/.local/share) followed by the application's bundle identifier
// ("CFBundleIdentifier" of the current platform's bundle; DEFAULT_FOLDER_NAME when it has none
// or it cannot name a folder), resolved on first use and kept.
class PELORIN_EXPORT PosixFileSystem : public FileSystem {
 public:
  static constexpr std::string_view DEFAULT_FOLDER_NAME = "pelorin-app";

  PosixFileSystem();
  explicit PosixFileSystem(std::string documentsFolder);

  FileStatus documentsDirectory(std::string* path) override;
  FileStatus createDirectories(const std::string& path) override;
  FileStatus readFile(const std::string& path, std::string* contents) override;
  FileStatus listDirectory(const std::string& path, std::vector<std::string>* names) override;
  FileStatus removeFile(const std::string& path) override;
  FileStatus renameFile(const std::string& from, const std::string& to) override;
  // Writes a staging file beside the target, syncs it, renames it over the target and
  // syncs the folder, so the new name is durable too.
  FileStatus writeFileAtomically(const std::string& path, std::string_view contents) override;

 private:
  std::mutex _mutex;
  std::optional<std::string> _documentsFolder;  // guarded by _mutex
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_HEADLESS_H_
